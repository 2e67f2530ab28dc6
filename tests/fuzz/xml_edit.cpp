// Fuzz target: any sequence of operations on an XML document, and on a second one to assign from.
//
// The input: a byte for what names may be (0: names; else: any bytes), a document that ends with a zero
// (none: a message's header), then operations: a byte for the operation, and strings that end with a zero
// where it takes some. With names that are names, the index must be that of a fresh parse after every
// operation. Load and Save are left out: behind the file, which costs a thousand times what an operation
// does, they are SetDoc and GetDoc.
#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "t1_sdk/xmldocument/xml_document.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/xml_index.h"

namespace {

constexpr char kHeader[] = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";
constexpr const char* kNames[] = {"a", "b", "TestItem", "TestCode", "x-y.z_1"};

/// What an operation works on and takes its arguments from.
struct Session {
  XmlDocument& document;
  XmlDocument& other;
  Input input;
  bool any_names;
  bool comparable = false;        ///< whether a fresh parse of the document gives its index
  bool other_comparable = false;  ///< the same of the other one

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

/// What a call that fails must leave as it was.
struct Trace {
  explicit Trace(const XmlDocument& document)
      : text(document.GetDoc()),
        error(document.m_strError),
        index(document.m_aPos),
        element(document.GetSubDoc()),
        child(document.GetChildSubDoc()) {}
  bool operator==(const Trace& other) const {
    return text == other.text && error == other.error && element == other.element && child == other.child &&
           std::equal(index.begin(), index.end(), other.index.begin(), other.index.end(), same_entry);
  }
  static bool same_entry(const ElemPos& one, const ElemPos& other) {
    return one.nStartL == other.nStartL && one.nStartR == other.nStartR && one.nEndL == other.nEndL &&
           one.nEndR == other.nEndR && one.nReserved == other.nReserved &&
           one.iElemParent == other.iElemParent && one.iElemChild == other.iElemChild &&
           one.iElemNext == other.iElemNext;
  }

  std::string text;
  std::string error;
  std::vector<ElemPos> index;
  std::string element;
  std::string child;
};

/// A failed sub-document leaves no trace, and one that goes in no error text.
template <bool (XmlDocument::*Add)(const char*)>
void add_sub_document(Session& s) {
  const Trace before(s.document);
  if (!(s.document.*Add)(s.text().c_str())) {
    require(Trace(s.document) == before, "a failed call left a trace");
  }
  require(s.document.m_strError == before.error, "a sub-document changed the error text");
}

void assign(Session& s) {
  XmlDocument copy;
  copy = s.document;
  require(copy.GetDoc() == s.document.GetDoc() && copy.GetTagName() == s.document.GetTagName() &&
              copy.GetChildData() == s.document.GetChildData(),
          "a copy is not alike");
  s.document = copy;
}

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

/// A new text. An element behind its root would be the root once that is removed, so it is not compared then.
void set_text(Session& s, const std::string& text) {
  s.document.SetDoc(text.c_str());
  s.comparable = !s.any_names && (text == kHeader || ends_with_element(s.document));
}

/// The other document's text, index and position; names saved in this one lead anywhere in them.
void take_over_other(Session& s) {
  const std::string error = s.document.m_strError;
  s.document = s.other;
  s.comparable = s.other_comparable;
  require(s.document.m_strError == error, "an assignment took the error text over");
}

void give_to_other(Session& s) {
  s.other = s.document;
  s.other_comparable = s.comparable;
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
    [](Session& s) { set_text(s, s.text()); },
    [](Session& s) { set_text(s, s.document.GetDoc()); },
    take_over_other,
    give_to_other,
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  XmlDocument document;
  XmlDocument other;
  Session session{document, other, Input(data, size), false};
  session.any_names = session.input.byte() != 0;
  const std::string start = session.text();
  set_text(session, start.empty() ? kHeader : start);
  while (!session.input.empty() && document.GetDoc().size() < 65536) {
    kOperations[session.input.byte() % std::size(kOperations)](session);
    document.GetTagName();
    document.GetChildData();
    document.GetSubDoc();
    elements_in_order(document);
    session.comparable = session.comparable && !has_stray_slash(document);
    if (!session.comparable) continue;
    check_index(document);
    check_against_fresh_parse(document);
  }
  return 0;
}
