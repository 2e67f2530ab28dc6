// Building: where elements that are added or inserted go, as a root, a sibling or a child, and what is
// refused.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::entry;
using xml_support::kGbkText;
using xml_support::kHeader;
using xml_support::Place;
using xml_support::root_of;
using xml_support::Trace;

using XmlBuildTest = xml_support::XmlTest;

// --- The root ---

TEST_F(XmlBuildTest, AHeaderAloneIsNotWellFormedButTakesARoot) {
  EXPECT_FALSE(doc.SetDoc(kHeader.c_str()));
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_EQ(root_of(doc), 0);
  EXPECT_FALSE(doc.FindElem());
  ASSERT_TRUE(doc.AddElem("TestItem"));
  expect_text(kHeader + "<TestItem/>\r\n");
  const int at = static_cast<int>(kHeader.size());
  EXPECT_EQ(root_place(), (Place{at, at + 10, at + 9, at + 10}));
  EXPECT_EQ(doc.GetTagName(), "TestItem");
}

TEST_F(XmlBuildTest, ARootIsInsertedBeforeEverythingElse) {
  ASSERT_FALSE(parse(kHeader));
  ASSERT_TRUE(doc.InsertElem("TestItem"));
  ASSERT_TRUE(doc.AddChildElem("TestCode", 1)) << "it takes children like any root";
  expect_text("<TestItem>\r\n<TestCode>1</TestCode>\r\n</TestItem>\r\n" + kHeader);
}

TEST_F(XmlBuildTest, ASecondRootIsRefused) {
  start_from("<r/>");
  for (const bool with_main : {true, false}) {
    if (!with_main) doc.ResetPos();
    const Trace before(doc);
    EXPECT_FALSE(doc.AddElem("second", "data"));
    EXPECT_FALSE(doc.InsertElem("second"));
    EXPECT_FALSE(doc.AddSubDoc("<second/>"));
    EXPECT_FALSE(doc.InsertSubDoc("<second/>"));
    EXPECT_EQ(Trace(doc), before);
  }
}

TEST_F(XmlBuildTest, ATextThatDidNotParseTakesARootAtItsEnd) {
  EXPECT_FALSE(doc.SetDoc("<a><b></a> \r\n"));
  ASSERT_TRUE(doc.AddElem("r", "1"));
  EXPECT_EQ(doc.GetDoc(), "<a><b></a> \r\n<r>1</r>\r\n");
  EXPECT_TRUE(doc.IsWellFormed());
  EXPECT_EQ(root_place(), (Place{13, 15, 17, 20}));
}

TEST_F(XmlBuildTest, TheEndOfTheContentFollowsTheText) {
  doc.SetDoc(kHeader.c_str());
  for (const char* name : {"a", "b", "c"}) {
    doc.AddElem(name);
    EXPECT_EQ(entry(doc, 0).nEndL, static_cast<int>(doc.GetDoc().size()));
    doc.AddChildElem(name, "1");
    EXPECT_EQ(entry(doc, 0).nEndL, static_cast<int>(doc.GetDoc().size()));
    doc.IntoElem();
  }
  expect_text(doc.GetDoc());
}

// --- Where an element goes ---

/// The same element goes to the same place as a child, beside the current child, and as a sibling, beside the
/// main element; written by the document, and as a text.
struct Position {
  const char* name;
  const char* text;
  const char* beside;    ///< a child of the root; null when none is current
  const char* added;     ///< the text after <x>1</x> was added
  const char* inserted;  ///< the text after it was inserted
};

// clang-format off
const Position kPositions[] = {
    {"AnEmptyParentIsOpened", "<r/>", nullptr,
     "<r>\r\n<x>1</x>\r\n</r>", "<r>\r\n<x>1</x>\r\n</r>"},
    {"AnEmptyParentKeepsItsAttributesAndBlanks", "<r a=\"1\" b='2' /> tail", nullptr,
     "<r a=\"1\" b='2' >\r\n<x>1</x>\r\n</r> tail", "<r a=\"1\" b='2' >\r\n<x>1</x>\r\n</r> tail"},
    {"AParentOfNothingGetsALineEndBehindItsStartTag", "<r a=\"1\"></r>", nullptr,
     "<r a=\"1\">\r\n<x>1</x>\r\n</r>", "<r a=\"1\">\r\n<x>1</x>\r\n</r>"},
    {"AParentWithBlanksTakesItBehindThem", "<r> \r\n</r>", nullptr,
     "<r> \r\n<x>1</x>\r\n</r>", "<r> \r\n<x>1</x>\r\n</r>"},
    {"AParentWithTextTakesItOnEitherSide", "<r>text</r>", nullptr,
     "<r>text<x>1</x>\r\n</r>", "<r><x>1</x>\r\ntext</r>"},
    {"BesideNoneItGoesLastOrFirst", "<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n", nullptr,
     "<r>\r\n<a/>\r\n<b/>\r\n<x>1</x>\r\n</r>\r\n", "<r>\r\n<x>1</x>\r\n<a/>\r\n<b/>\r\n</r>\r\n"},
    {"BesideTheFirst", "<r><a/><b/></r>", "a",
     "<r><a/><x>1</x>\r\n<b/></r>", "<r><x>1</x>\r\n<a/><b/></r>"},
    {"BesideTheLast", "<r><a/><b/></r>", "b",
     "<r><a/><b/><x>1</x>\r\n</r>", "<r><a/><x>1</x>\r\n<b/></r>"},
    {"BesideOneWithChildren", "<r><a/><b><c>2</c></b>\r\n<d/></r>", "b",
     "<r><a/><b><c>2</c></b>\r\n<x>1</x>\r\n<d/></r>", "<r><a/><x>1</x>\r\n<b><c>2</c></b>\r\n<d/></r>"},
    {"BlanksBeforeATagStayBeforeIt", "<r> <a/> \t\r\n<b/></r>", "a",
     "<r> <a/> \t\r\n<x>1</x>\r\n<b/></r>", "<r> <x>1</x>\r\n<a/> \t\r\n<b/></r>"},
    {"BlanksBeforeTextStayBehindIt", "<r><a/> text<b/></r>", "a",
     "<r><a/><x>1</x>\r\n text<b/></r>", "<r><x>1</x>\r\n<a/> text<b/></r>"},
    {"ACommentIsATag", "<r><a/>\r\n<!-- <x> --><b/></r>", "a",
     "<r><a/>\r\n<x>1</x>\r\n<!-- <x> --><b/></r>", "<r><x>1</x>\r\n<a/>\r\n<!-- <x> --><b/></r>"},
};
// clang-format on

class XmlPositionTest : public xml_support::XmlTest, public testing::WithParamInterface<Position> {
 protected:
  void start() {
    start_from(GetParam().text);
    if (GetParam().beside != nullptr) {
      ASSERT_TRUE(doc.FindChildElem(GetParam().beside));
    }
  }
};

INSTANTIATE_TEST_SUITE_P(All, XmlPositionTest, testing::ValuesIn(kPositions),
                         [](const auto& row) { return row.param.name; });

TEST_P(XmlPositionTest, TakesTheNewElementWhichBecomesCurrent) {
  for (const bool insert : {false, true}) {
    for (const bool as_text : {false, true}) {
      const std::string expected = insert ? GetParam().inserted : GetParam().added;
      SCOPED_TRACE(std::string(insert ? "inserted" : "added") + (as_text ? " as a text" : ""));
      start();
      if (as_text) {
        EXPECT_TRUE(insert ? doc.InsertChildSubDoc("<x>1</x>\r\n") : doc.AddChildSubDoc("<x>1</x>\r\n"));
      } else {
        EXPECT_TRUE(insert ? doc.InsertChildElem("x", "1") : doc.AddChildElem("x", "1"));
      }
      expect_text(expected);
      EXPECT_EQ(doc.GetTagName(), "r");
      EXPECT_EQ(doc.GetChildSubDoc().substr(0, 8), "<x>1</x>");

      start();
      ASSERT_TRUE(doc.IntoElem());
      if (as_text) {
        EXPECT_TRUE(insert ? doc.InsertSubDoc("<x>1</x>\r\n") : doc.AddSubDoc("<x>1</x>\r\n"));
      } else {
        EXPECT_TRUE(insert ? doc.InsertElem("x", "1") : doc.AddElem("x", "1"));
      }
      expect_text(expected);
      EXPECT_EQ(doc.GetTagName(), "x");
      EXPECT_EQ(doc.GetChildSubDoc(), "");
    }
  }
}

// --- What is refused ---

TEST_F(XmlBuildTest, AChildNeedsAMainElement) {
  for (const char* text : {"", "<r><a/></r>"}) {
    parse(text);
    const Trace before(doc);
    EXPECT_FALSE(doc.AddChildElem("c", "1"));
    EXPECT_FALSE(doc.AddChildElem("c", 1));
    EXPECT_FALSE(doc.InsertChildElem("c", "1"));
    EXPECT_FALSE(doc.InsertChildElem("c", 1));
    EXPECT_FALSE(doc.AddChildSubDoc("<c/>"));
    EXPECT_FALSE(doc.InsertChildSubDoc("<c/>"));
    EXPECT_EQ(Trace(doc), before);
  }
}

TEST_F(XmlBuildTest, AnElementWithoutANameIsRefusedAndNothingChanges) {
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    doc.SetDoc(nullptr);
    EXPECT_FALSE(doc.AddElem(name)) << "as a root";
    EXPECT_EQ(doc.next_free(), 1);

    start_inside("<r><a>1</a></r>", "a");
    const Trace before(doc);
    EXPECT_FALSE(doc.AddElem(name, "data"));
    EXPECT_FALSE(doc.InsertElem(name));
    EXPECT_FALSE(doc.AddChildElem(name, "data"));
    EXPECT_FALSE(doc.AddChildElem(name, 7));
    EXPECT_FALSE(doc.InsertChildElem(name));
    EXPECT_FALSE(doc.InsertChildElem(name, 7));
    EXPECT_EQ(Trace(doc), before);
  }
}

// --- Data ---

TEST_F(XmlBuildTest, AnElementWithoutDataIsWrittenEmpty) {
  ASSERT_TRUE(doc.AddElem("r", ""));
  ASSERT_TRUE(doc.AddChildElem("a", nullptr));
  ASSERT_TRUE(doc.AddChildElem("b", ""));
  expect_text("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n");
}

TEST_F(XmlBuildTest, DataIsEscapedAndGbkBytesPass) {
  ASSERT_TRUE(doc.AddElem("r", ("<&>\"'" + kGbkText).c_str()));
  expect_text("<r>&lt;&amp;&gt;\"'" + kGbkText + "</r>\r\n");
  EXPECT_EQ(root_place(), (Place{0, 2, 31, 34}));
}

TEST_F(XmlBuildTest, ANumberIsWrittenInDecimal) {
  start_from("<r/>");
  for (const int value : {0, INT_MAX, INT_MIN}) {
    ASSERT_TRUE(doc.AddChildElem("n", value));
    ASSERT_TRUE(doc.InsertChildElem("n", value));
  }
  EXPECT_TRUE(doc.SetAttrib("min", INT_MIN));
  EXPECT_TRUE(doc.SetChildAttrib("max", INT_MAX));
  expect_text(
      "<r min=\"-2147483648\">\r\n<n>0</n>\r\n<n>2147483647</n>\r\n"
      "<n max=\"2147483647\">-2147483648</n>\r\n<n>-2147483648</n>\r\n<n>2147483647</n>\r\n<n>0</n>\r\n</r>");
}

}  // namespace
