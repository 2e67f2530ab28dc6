// What the tests of the XML document share: a document whose inner steps a test can call, where its elements
// stand, and what must hold after every edit.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "t1_sdk/xmldocument/xml_document.h"

namespace xml_support {

/// What every message of the board begins with.
inline const std::string kHeader = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";
/// A text in GBK whose second bytes look like letters, backslashes and brackets.
inline const std::string kGbkText = "\xB2\xE2\xCA\xD4 \x81\x5C\x81\x40\xD5\x5B\xFE\x7E";

/// A document whose inner operations a test can call.
class OpenDocument : public XmlDocument {
 public:
  using XmlDocument::x_Adjust;
  using XmlDocument::x_Elem;
  using XmlDocument::x_FindAttrib;
  using XmlDocument::x_GetFreePos;
  using XmlDocument::x_ParseElem;
  using XmlDocument::x_ParseNode;

  /// The index entry that the next element takes. A copy is asked, since taking one can make the index grow.
  int next_free() const {
    OpenDocument copy;
    copy = *this;
    return copy.x_GetFreePos();
  }
};

/// The four byte offsets of one element.
struct Place {
  int start_l = 0;
  int start_r = 0;
  int end_l = 0;
  int end_r = 0;
  bool operator==(const Place&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Place& place) {
  return out << '{' << place.start_l << ", " << place.start_r << ", " << place.end_l << ", " << place.end_r
             << '}';
}

/// One element met on a walk through the document: how deep it lies (the root is at 0), and its place.
struct Visit {
  int depth = 0;
  Place place;
  bool operator==(const Visit&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Visit& visit) {
  return out << visit.depth << ':' << visit.place;
}

/// The index entry with that number; throws std::out_of_range when there is none.
inline const ElemPos& entry(const XmlDocument& doc, int index) {
  return doc.m_aPos.at(static_cast<std::size_t>(index));
}

inline int root_of(const XmlDocument& doc) {
  return entry(doc, 0).iElemChild;
}

inline int child_of(const XmlDocument& doc, int index) {
  return entry(doc, index).iElemChild;
}

inline int next_of(const XmlDocument& doc, int index) {
  return entry(doc, index).iElemNext;
}

inline Place place_of(const XmlDocument& doc, int index) {
  const ElemPos& elem = entry(doc, index);
  return {elem.nStartL, elem.nStartR, elem.nEndL, elem.nEndR};
}

/// All elements that the links reach, in document order.
/// Throws std::logic_error where a parent link is wrong, a reserved word is set or the links run in a circle.
inline std::vector<Visit> walk(const XmlDocument& doc) {
  std::vector<Visit> visits;
  int parent = 0;
  int depth = 0;
  for (int index = root_of(doc); index != 0;) {
    if (entry(doc, index).iElemParent != parent) throw std::logic_error("an element names a wrong parent");
    if (entry(doc, index).nReserved != 0) throw std::logic_error("a reserved word is set");
    if (visits.size() >= doc.m_aPos.size()) throw std::logic_error("the links run in a circle");
    visits.push_back({depth, place_of(doc, index)});
    if (child_of(doc, index) != 0) {
      parent = index;
      index = child_of(doc, index);
      ++depth;
      continue;
    }
    while (index != 0 && next_of(doc, index) == 0) {
      index = entry(doc, index).iElemParent;
      --depth;
    }
    if (index == 0) break;
    parent = entry(doc, index).iElemParent;
    index = next_of(doc, index);
  }
  return visits;
}

/// The walk through a fresh parse of the same text: what an edited document's index must equal.
inline std::vector<Visit> walk_of_fresh_parse(const std::string& text) {
  XmlDocument fresh;
  fresh.SetDoc(text.c_str());
  return walk(fresh);
}

/// A text, `count` times over.
inline std::string repeated(const std::string& piece, std::size_t count) {
  std::string text;
  text.reserve(piece.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += piece;
  return text;
}

/// One entry of the index, field by field.
using Fields = std::array<int, 8>;

inline Fields fields_of(const ElemPos& e) {
  return {e.nStartL, e.nStartR, e.nEndL, e.nEndR, e.nReserved, e.iElemParent, e.iElemChild, e.iElemNext};
}

/// Everything that an operation which is refused leaves alone.
struct Trace {
  explicit Trace(const OpenDocument& doc)
      : text(doc.GetDoc()),
        error(doc.m_strError),
        next_free(doc.next_free()),
        level(level_of(doc)),
        tag_name(doc.GetTagName()),
        element(doc.GetSubDoc()),
        child(doc.GetChildSubDoc()) {
    for (const ElemPos& elem : doc.m_aPos) index.push_back(fields_of(elem));
  }
  bool operator==(const Trace&) const = default;
  friend void PrintTo(const Trace& trace, std::ostream* out) {
    *out << testing::PrintToString(trace.text) << " error " << testing::PrintToString(trace.error)
         << " index " << testing::PrintToString(trace.index) << " next " << trace.next_free << " in "
         << trace.level << " at " << trace.tag_name << ": " << trace.element << " / " << trace.child;
  }

  std::string text;
  std::string error;
  std::vector<Fields> index;
  int next_free = 0;
  std::string level;
  std::string tag_name;
  std::string element;
  std::string child;

 private:
  /// The text of the parent, "" at document level.
  static std::string level_of(const OpenDocument& doc) {
    OpenDocument copy;
    copy = doc;
    return copy.OutOfElem() ? copy.GetSubDoc() : "";
  }
};

class XmlTest : public testing::Test {
 protected:
  OpenDocument doc;

  bool parse(const std::string& text) { return doc.SetDoc(text.c_str()); }
  /// Starts from that text, with the root as the main element.
  void start_from(const std::string& text) {
    ASSERT_TRUE(parse(text)) << doc.m_strError;
    ASSERT_TRUE(doc.FindElem());
  }
  /// The same, with that child of the root as the current child.
  void start_from(const std::string& text, const char* child) {
    start_from(text);
    ASSERT_TRUE(doc.FindChildElem(child)) << child;
  }
  /// The same, with that child of the root as the main element.
  void start_inside(const std::string& text, const char* child) {
    start_from(text, child);
    ASSERT_TRUE(doc.IntoElem());
  }
  /// The text is that one, and the index is what parsing it anew gives.
  void expect_text(const std::string& text) {
    EXPECT_EQ(doc.GetDoc(), text);
    EXPECT_EQ(walk(doc), walk_of_fresh_parse(text));
    EXPECT_EQ(doc.IsWellFormed(), root_of(doc) != 0);
  }
  Place root_place() const { return place_of(doc, root_of(doc)); }
};

}  // namespace xml_support
