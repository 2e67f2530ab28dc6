// Fuzz target: any bytes as an XML document, then every way of moving about in it and reading it.
#include "t1_sdk/xmldocument/xml_document.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/xml_index.h"

namespace {

/// Reads the children of the main element: each in turn, then the first of its own name.
void read_children(XmlDocument& document, const std::string& name, std::size_t longest) {
  for (std::size_t children = 0; document.FindChildElem(); ++children) {
    require(document.GetChildData().size() <= longest, "an element has more data than the document text");
    require(children < longest, "siblings go on for ever");
  }
  document.ResetChildPos();
  document.FindChildElem(name.c_str());
  document.GetChildData();
  document.ResetChildPos();
}

/// Goes through the whole document, level by level down and up again. The number of elements.
std::size_t walk(XmlDocument& document, std::size_t longest) {
  std::size_t elements = 0;
  document.ResetPos();
  for (;;) {
    while (!document.FindElem()) {
      if (!document.OutOfElem()) return elements;
    }
    require(++elements <= longest, "the way through the document has no end");
    const std::string name = document.GetTagName();
    require(name.size() <= longest, "a name is longer than the document text");
    read_children(document, name, longest);
    require(document.IntoElem(), "there is no way into an element");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = Input(data, size).rest();
  XmlDocument document;
  const bool well_formed = document.SetDoc(text.c_str());
  require(document.GetDoc() == text.c_str(), "the text is not kept as it is");
  require(document.IsWellFormed() == well_formed, "well formed or not");
  check_index(document);
  check_against_fresh_parse(document);
  const std::size_t elements = walk(document, text.size());
  require(elements == elements_in_order(document).size(), "the way through the document misses elements");

  // What a station's request is asked for.
  document.ResetPos();
  document.FindChildElem("TestCode");
  document.GetChildData();
  return 0;
}
