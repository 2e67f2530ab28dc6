// Follows the links of the index without trusting them.
#include "tests/fuzz/xml_index.h"

#include "tests/fuzz/fuzz.h"

namespace {

/// Visits the elements in the order of their start tags, with parent and elder sibling (0 for none).
template <typename Visit>
void visit_elements(const XmlDocument& document, Visit visit) {
  const std::vector<ElemPos>& index = document.m_aPos;
  const auto entry = [&index](int i) -> const ElemPos& {
    require(i >= 0 && static_cast<std::size_t>(i) < index.size(), "a link leads out of the index");
    return index[static_cast<std::size_t>(i)];
  };
  std::size_t visited = 0;
  int parent = 0;
  int elder = 0;
  int next = index.empty() ? 0 : entry(0).iElemChild;
  for (;;) {
    while (next == 0) {  // the end of a level: on behind its parent
      if (parent == 0) return;
      elder = parent;
      next = entry(elder).iElemNext;
      parent = entry(elder).iElemParent;
    }
    require(++visited < index.size(), "the links of the index go round in a circle");
    const ElemPos& element = entry(next);
    require(element.iElemParent == parent, "an element has another parent than the one that leads to it");
    visit(element, entry(parent), elder == 0 ? nullptr : &entry(elder));
    if (element.iElemChild != 0) {
      parent = next;
      elder = 0;
      next = element.iElemChild;
    } else {
      elder = next;
      next = element.iElemNext;
    }
  }
}

bool same_place(const ElemPos& one, const ElemPos& other) {
  return one.nStartL == other.nStartL && one.nStartR == other.nStartR && one.nEndL == other.nEndL &&
         one.nEndR == other.nEndR;
}

}  // namespace

std::vector<ElemPos> elements_in_order(const XmlDocument& document) {
  std::vector<ElemPos> elements;
  visit_elements(document, [&elements](const ElemPos& element, const ElemPos&, const ElemPos*) {
    elements.push_back(element);
  });
  return elements;
}

void check_index(const XmlDocument& document) {
  const std::string text = document.GetDoc();
  const auto is = [&text](int at, char c) {
    return at >= 0 && static_cast<std::size_t>(at) < text.size() && text[static_cast<std::size_t>(at)] == c;
  };
  visit_elements(document, [&](const ElemPos& element, const ElemPos& parent, const ElemPos* elder) {
    require(is(element.nStartL, '<') && is(element.nStartR, '>'), "a start tag is not where the index says");
    require(element.nStartL < element.nStartR, "a start tag ends before it begins");
    if (element.IsEmptyElement()) {
      require(is(element.nEndL, '/') && element.nEndR == element.nStartR, "an empty element has another end");
      require(element.iElemChild == 0, "an empty element has a child");
    } else {
      require(is(element.nEndL, '<') && is(element.nEndR, '>'), "an end tag is not where the index says");
      require(element.nStartR < element.nEndL && element.nEndL < element.nEndR, "tags overlap");
    }
    if (elder != nullptr) require(elder->nEndR < element.nStartL, "siblings overlap");
    if (element.iElemParent == 0) return;
    require(parent.nStartR < element.nStartL && element.nEndR < parent.nEndL, "a child leaves its parent");
  });
}

void check_against_fresh_parse(const XmlDocument& document) {
  XmlDocument fresh;
  fresh.SetDoc(document.GetDoc().c_str());
  require(fresh.IsWellFormed() == document.IsWellFormed(), "a fresh parse finds other elements");
  const std::vector<ElemPos> kept = elements_in_order(document);
  const std::vector<ElemPos> parsed = elements_in_order(fresh);
  require(std::equal(kept.begin(), kept.end(), parsed.begin(), parsed.end(), same_place),
          "a fresh parse finds elements at other positions");
}
