// What the tests of editing share: a document whose editing steps a test can call, and what must hold after
// every edit.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace xml_support {

/// A text in GBK whose second bytes look like letters, backslashes and brackets.
inline const std::string kGbkText = "\xB2\xE2\xCA\xD4 \x81\x5C\x81\x40\xD5\x5B\xFE\x7E";

/// A document whose inner editing operations a test can call too.
class EditDocument : public OpenDocument {
 public:
  using XmlDocument::x_AddSubDoc;
  using XmlDocument::x_CreateNode;
  using XmlDocument::x_FindAttrib;
  using XmlDocument::x_GetAttrib;
  using XmlDocument::x_GetSubDoc;
  using XmlDocument::x_RemoveElem;
  using XmlDocument::x_SetAttrib;
  using XmlDocument::x_SetData;
};

class XmlEditTest : public testing::Test {
 protected:
  EditDocument doc;

  /// Starts from that text, with the root as the main element.
  void start_from(const std::string& text) {
    ASSERT_TRUE(doc.SetDoc(text.c_str())) << doc.m_strError;
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
};

/// One entry of the index, field by field.
using Fields = std::array<int, 8>;

inline std::vector<Fields> all_fields(const XmlDocument& doc) {
  std::vector<Fields> entries;
  for (const ElemPos& e : doc.m_aPos) {
    entries.push_back(
        {e.nStartL, e.nStartR, e.nEndL, e.nEndR, e.nReserved, e.iElemParent, e.iElemChild, e.iElemNext});
  }
  return entries;
}

/// Everything that an operation which is refused leaves alone.
struct Trace {
  explicit Trace(const EditDocument& doc)
      : text(doc.GetDoc()),
        error(doc.m_strError),
        index(all_fields(doc)),
        next_free(doc.next_free()),
        level(level_of(doc)),
        tag_name(doc.GetTagName()),
        element(doc.GetSubDoc()),
        child(doc.GetChildSubDoc()) {}
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
  static std::string level_of(const EditDocument& doc) {
    EditDocument copy;
    copy = doc;
    return copy.OutOfElem() ? copy.GetSubDoc() : "";
  }
};

}  // namespace xml_support
