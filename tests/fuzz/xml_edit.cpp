// Fuzz target: any sequence of operations on an XML document.
//
// The input: a byte for what names may be (0: names; else: any bytes), a document that ends with a zero
// (none: a message's header), then operations: a byte for the operation, and strings that end with a zero
// where it takes some. With names that are names, the index must be that of a fresh parse after every
// operation.
#include <iterator>

#include "t1_sdk/xmldocument/xml_document.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/xml_index.h"

namespace {

constexpr char kHeader[] = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";
constexpr const char* kNames[] = {"a", "b", "TestItem", "TestCode", "x-y.z_1"};

/// What an operation works on and takes its arguments from.
struct Session {
  XmlDocument& document;
  Input input;
  bool any_names;

  /// The next string, without the zero at its end.
  std::string text() {
    std::string taken;
    while (!input.empty()) {
      const auto c = static_cast<char>(input.byte());
      if (c == '\0') break;
      taken += c;
    }
    return taken;
  }
  std::string name() { return any_names ? text() : kNames[input.byte() % std::size(kNames)]; }
};

template <bool (XmlDocument::*Find)(const char*)>
void find(Session& s) {
  (s.document.*Find)(s.name().c_str());
}

/// Add, insert, set: a name and a text.
template <bool (XmlDocument::*Edit)(const char*, const char*)>
void edit(Session& s) {
  const std::string name = s.name();
  (s.document.*Edit)(name.c_str(), s.text().c_str());
}

/// The same with a number.
template <bool (XmlDocument::*Edit)(const char*, int)>
void edit_number(Session& s) {
  const std::string name = s.name();
  (s.document.*Edit)(name.c_str(), s.input.byte() - 100);
}

template <bool (XmlDocument::*SetData)(const char*, int)>
void set_data(Session& s) {
  const int cdata = s.input.byte() % 2;
  (s.document.*SetData)(s.text().c_str(), cdata);
}

template <bool (XmlDocument::*Do)()>
void plain(Session& s) {
  (s.document.*Do)();
}

/// A failed sub-document leaves no trace.
template <bool (XmlDocument::*Add)(const char*)>
void add_sub_document(Session& s) {
  const std::string before = s.document.GetDoc();
  if (!(s.document.*Add)(s.text().c_str()))
    require(s.document.GetDoc() == before, "a failed call left a trace");
}

void assign(Session& s) {
  XmlDocument copy;
  copy = s.document;
  require(copy.GetDoc() == s.document.GetDoc() && copy.GetTagName() == s.document.GetTagName() &&
              copy.GetChildData() == s.document.GetChildData(),
          "a copy is not alike");
  s.document = copy;
}

using D = XmlDocument;
constexpr void (*kOperations[])(Session& s) = {
    [](Session& s) { s.document.FindElem(); },
    find<&D::FindElem>,
    [](Session& s) { s.document.FindChildElem(); },
    find<&D::FindChildElem>,
    plain<&D::IntoElem>,
    plain<&D::OutOfElem>,
    [](Session& s) { s.document.ResetPos(); },
    [](Session& s) { s.document.ResetMainPos(); },
    [](Session& s) { s.document.ResetChildPos(); },
    edit<&D::AddElem>,
    edit<&D::AddChildElem>,
    edit_number<&D::AddChildElem>,
    edit<&D::InsertElem>,
    edit<&D::InsertChildElem>,
    edit_number<&D::InsertChildElem>,
    edit<&D::SetAttrib>,
    edit<&D::SetChildAttrib>,
    edit_number<&D::SetAttrib>,
    [](Session& s) { s.document.GetAttrib(s.name().c_str()); },
    [](Session& s) { s.document.GetChildAttrib(s.name().c_str()); },
    [](Session& s) { s.document.GetAttribName(s.input.byte() % 8); },
    set_data<&D::SetData>,
    set_data<&D::SetChildData>,
    plain<&D::RemoveElem>,
    plain<&D::RemoveChildElem>,
    find<&D::SavePos>,
    find<&D::RestorePos>,
    add_sub_document<&D::AddSubDoc>,
    add_sub_document<&D::InsertSubDoc>,
    add_sub_document<&D::AddChildSubDoc>,
    add_sub_document<&D::InsertChildSubDoc>,
    [](Session& s) { s.document.AddChildSubDoc(s.document.GetSubDoc().c_str()); },
    [](Session& s) { s.document.AddSubDoc(s.document.GetChildSubDoc().c_str()); },
    assign,
    edit_number<&D::SetChildAttrib>,
};

/// Whether the text has an empty element with a '/' too many, "<a//>". One of them stays behind when the
/// element is given content, "<a/>x</a>", and a fresh parse takes that for another document.
bool has_stray_slash(const XmlDocument& document) {
  return document.GetDoc().find("//>") != std::string::npos;
}

/// Whether nothing but white space follows the element of a document.
bool ends_with_element(const XmlDocument& document) {
  const std::vector<ElemPos> elements = elements_in_order(document);
  if (elements.empty()) return false;
  const auto end = static_cast<std::size_t>(elements.front().nEndR) + 1;
  return document.GetDoc().find_first_not_of(" \t\r\n", end) == std::string::npos;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  XmlDocument document;
  Session session{document, Input(data, size), false};
  session.any_names = session.input.byte() != 0;
  const std::string start = session.text();
  document.SetDoc(start.empty() ? kHeader : start.c_str());
  bool compare = !session.any_names && (start.empty() || ends_with_element(document));
  compare = compare && !has_stray_slash(document);
  while (!session.input.empty() && document.GetDoc().size() < 65536) {
    kOperations[session.input.byte() % std::size(kOperations)](session);
    document.GetTagName();
    document.GetChildData();
    document.GetSubDoc();
    elements_in_order(document);
    compare = compare && !has_stray_slash(document);
    if (!compare) continue;
    check_index(document);
    check_against_fresh_parse(document);
  }
  return 0;
}
