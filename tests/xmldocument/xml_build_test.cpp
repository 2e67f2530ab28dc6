// Building: the text, the index and the position after every element that is added.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::child_of;
using xml_support::entry;
using xml_support::next_of;
using xml_support::Place;
using xml_support::place_of;
using xml_support::root_of;
using xml_support::Visit;
using xml_support::walk;
using xml_support::walk_of_fresh_parse;

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";

class XmlBuildTest : public testing::Test {
 protected:
  XmlDocument doc;

  /// Starts from that text, with the root as the main element.
  void start_from(const std::string& text) {
    ASSERT_TRUE(doc.SetDoc(text.c_str())) << doc.m_strError;
    ASSERT_TRUE(doc.FindElem());
  }

  /// The text is that one, and the index is what parsing it anew gives.
  void expect_text(const std::string& text) {
    EXPECT_EQ(doc.GetDoc(), text);
    EXPECT_EQ(walk(doc), walk_of_fresh_parse(text));
    EXPECT_EQ(doc.IsWellFormed(), root_of(doc) != 0);
  }
};

// --- The root ---

TEST_F(XmlBuildTest, AHeaderAloneIsNotWellFormedButTakesARoot) {
  EXPECT_FALSE(doc.SetDoc(kHeader.c_str()));
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_EQ(root_of(doc), 0);
  EXPECT_FALSE(doc.FindElem());
  ASSERT_TRUE(doc.AddElem("TestItem"));
  expect_text(kHeader + "<TestItem/>\r\n");
  const int at = static_cast<int>(kHeader.size());
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{at, at + 10, at + 9, at + 10}));
  EXPECT_EQ(doc.GetTagName(), "TestItem");
}

TEST_F(XmlBuildTest, ANewDocumentTakesARoot) {
  ASSERT_TRUE(doc.AddElem("r"));
  expect_text("<r/>\r\n");
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 3, 2, 3}));
}

TEST_F(XmlBuildTest, ARootMayHoldData) {
  ASSERT_TRUE(doc.AddElem("root", "a&b"));
  expect_text("<root>a&amp;b</root>\r\n");
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 5, 13, 19}));
}

TEST_F(XmlBuildTest, ASecondRootIsRefused) {
  ASSERT_TRUE(doc.AddElem("r"));
  EXPECT_FALSE(doc.AddElem("second"));
  EXPECT_FALSE(doc.AddElem("r", "data"));
  EXPECT_EQ(doc.GetTagName(), "r");
  expect_text("<r/>\r\n");
  doc.ResetPos();
  EXPECT_FALSE(doc.AddElem("second"));
  EXPECT_EQ(doc.GetTagName(), "");
  expect_text("<r/>\r\n");
}

TEST_F(XmlBuildTest, ARootThatWasParsedRefusesASecondOneToo) {
  ASSERT_TRUE(doc.SetDoc("<r/>"));
  EXPECT_FALSE(doc.AddElem("second"));
  expect_text("<r/>");
}

TEST_F(XmlBuildTest, ATextThatDidNotParseTakesARootAtItsEnd) {
  EXPECT_FALSE(doc.SetDoc("<a><b></a> \r\n"));
  ASSERT_TRUE(doc.AddElem("r", "1"));
  EXPECT_EQ(doc.GetDoc(), "<a><b></a> \r\n<r>1</r>\r\n");
  EXPECT_TRUE(doc.IsWellFormed());
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{13, 15, 17, 20}));
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

// --- The first child ---

TEST_F(XmlBuildTest, AnEmptyParentIsOpenedForItsFirstChild) {
  ASSERT_TRUE(doc.AddElem("TestItem"));
  ASSERT_TRUE(doc.AddChildElem("TestCode", "1"));
  expect_text("<TestItem>\r\n<TestCode>1</TestCode>\r\n</TestItem>\r\n");
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 9, 36, 46}));
  EXPECT_EQ(place_of(doc, child_of(doc, root_of(doc))), (Place{12, 21, 23, 33}));
}

TEST_F(XmlBuildTest, AnEmptyParentIsOpenedForAnEmptyChild) {
  start_from("<p/>");
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p>\r\n<c/>\r\n</p>");
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 2, 11, 14}));
  EXPECT_EQ(place_of(doc, child_of(doc, root_of(doc))), (Place{5, 8, 7, 8}));
}

TEST_F(XmlBuildTest, AnEmptyParentKeepsItsAttributesAndBlanks) {
  start_from("<p x=\"1\" y='2' />");
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p x=\"1\" y='2' >\r\n<c/>\r\n</p>");
}

TEST_F(XmlBuildTest, WhatFollowsAnEmptyParentStaysBehindIt) {
  start_from("<r><p/>text<q/> </r>tail");
  ASSERT_TRUE(doc.FindChildElem("p"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddChildElem("c", "1"));
  expect_text("<r><p>\r\n<c>1</c>\r\n</p>text<q/> </r>tail");
}

TEST_F(XmlBuildTest, AGbkParentClosesWithItsOwnName) {
  ASSERT_TRUE(doc.AddElem("\xB2\xE2\xCA\xD4"));
  ASSERT_TRUE(doc.AddChildElem("\xBD\xE1", "\xB9\xFB"));
  expect_text("<\xB2\xE2\xCA\xD4>\r\n<\xBD\xE1>\xB9\xFB</\xBD\xE1>\r\n</\xB2\xE2\xCA\xD4>\r\n");
}

TEST_F(XmlBuildTest, AParentOfNothingGetsALineEndBehindItsStartTag) {
  start_from("<p></p>");
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p>\r\n<c/>\r\n</p>");
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 2, 11, 14}));
  EXPECT_EQ(place_of(doc, child_of(doc, root_of(doc))), (Place{5, 8, 7, 8}));
}

TEST_F(XmlBuildTest, AParentOfNothingWithAttributesGetsALineEndToo) {
  start_from("<p x=\"1\"></p>\r\n");
  ASSERT_TRUE(doc.AddChildElem("c", "d"));
  expect_text("<p x=\"1\">\r\n<c>d</c>\r\n</p>\r\n");
}

TEST_F(XmlBuildTest, AParentWithTextTakesItsChildBeforeItsEndTag) {
  start_from("<p>text</p>");
  ASSERT_TRUE(doc.AddChildElem("c", "1"));
  expect_text("<p>text<c>1</c>\r\n</p>");
}

TEST_F(XmlBuildTest, AParentWithBlanksTakesItsChildBeforeItsEndTag) {
  start_from("<p> \r\n</p>");
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p> \r\n<c/>\r\n</p>");
}

// --- More children ---

TEST_F(XmlBuildTest, AChildGoesBehindTheCurrentChild) {
  start_from("<p><a/><b/></p>");
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p><a/><c/>\r\n<b/></p>");
  const int first = child_of(doc, root_of(doc));
  EXPECT_EQ(place_of(doc, first), (Place{3, 6, 5, 6}));
  EXPECT_EQ(place_of(doc, next_of(doc, first)), (Place{7, 10, 9, 10}));
  EXPECT_EQ(place_of(doc, next_of(doc, next_of(doc, first))), (Place{13, 16, 15, 16}));
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 2, 17, 20}));
}

TEST_F(XmlBuildTest, WithoutACurrentChildAChildGoesLast) {
  start_from("<p><a/><b/> </p>");
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p><a/><b/> <c/>\r\n</p>");
}

TEST_F(XmlBuildTest, BlanksBeforeTheNextTagStayBeforeTheNewElement) {
  start_from("<p><a/> \t\r\n<b/></p>");
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p><a/> \t\r\n<c/>\r\n<b/></p>");
}

TEST_F(XmlBuildTest, BlanksBeforeAnEndTagStayBeforeTheNewElement) {
  start_from("<p><a/>\r\n </p>");
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p><a/>\r\n <c/>\r\n</p>");
}

TEST_F(XmlBuildTest, BlanksBeforeTextStayBehindTheNewElement) {
  start_from("<p><a/> text<b/></p>");
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p><a/><c/>\r\n text<b/></p>");
}

TEST_F(XmlBuildTest, AChildBehindACommentGoesBeforeTheComment) {
  start_from("<p><a/>\r\n<!-- <x> --><b/></p>");
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<p><a/>\r\n<c/>\r\n<!-- <x> --><b/></p>");
}

TEST_F(XmlBuildTest, AChildMovesEverythingBehindItAndTheEndsOfAllAroundIt) {
  start_from("<r><p><q/></p><s/></r>");
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindChildElem("q"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddChildElem("c"));
  expect_text("<r><p><q>\r\n<c/>\r\n</q></p><s/></r>");
  EXPECT_EQ(walk(doc), (std::vector<Visit>{{0, {0, 2, 29, 32}},
                                           {1, {3, 5, 21, 24}},
                                           {2, {6, 8, 17, 20}},
                                           {3, {11, 14, 13, 14}},
                                           {1, {25, 28, 27, 28}}}));
}

TEST_F(XmlBuildTest, AChildNeedsAMainElement) {
  EXPECT_FALSE(doc.AddChildElem("c"));
  EXPECT_EQ(doc.GetDoc(), "");
  ASSERT_TRUE(doc.SetDoc("<r/>"));
  EXPECT_FALSE(doc.AddChildElem("c"));
  EXPECT_FALSE(doc.AddChildElem("c", "1"));
  EXPECT_FALSE(doc.AddChildElem("c", 1));
  expect_text("<r/>");
  EXPECT_EQ(doc.GetTagName(), "");
}

TEST_F(XmlBuildTest, AddedChildrenStandInTheOrderInWhichTheyWereAdded) {
  ASSERT_TRUE(doc.AddElem("r"));
  ASSERT_TRUE(doc.AddChildElem("a", "1"));
  expect_text("<r>\r\n<a>1</a>\r\n</r>\r\n");
  ASSERT_TRUE(doc.AddChildElem("b"));
  expect_text("<r>\r\n<a>1</a>\r\n<b/>\r\n</r>\r\n");
  ASSERT_TRUE(doc.AddChildElem("c", "3"));
  expect_text("<r>\r\n<a>1</a>\r\n<b/>\r\n<c>3</c>\r\n</r>\r\n");
}

// --- Siblings ---

TEST_F(XmlBuildTest, ASiblingGoesBehindTheMainElementAndBecomesIt) {
  start_from("<r><a/><b/></r>");
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddElem("x", "1"));
  expect_text("<r><a/><x>1</x>\r\n<b/></r>");
  EXPECT_EQ(doc.GetTagName(), "x");
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "b");
}

TEST_F(XmlBuildTest, WithoutAMainElementASiblingGoesLast) {
  start_from("<r><a/><b/></r>");
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddElem("x"));
  expect_text("<r><a/><b/><x/>\r\n</r>");
  EXPECT_EQ(doc.GetTagName(), "x");
  EXPECT_FALSE(doc.FindElem());
}

TEST_F(XmlBuildTest, ASiblingInsideAnEmptyParentOpensIt) {
  start_from("<r/>");
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddElem("x"));
  expect_text("<r>\r\n<x/>\r\n</r>");
  EXPECT_EQ(doc.GetTagName(), "x");
}

TEST_F(XmlBuildTest, ASiblingBehindAnElementWithChildrenGoesBehindItsEndTag) {
  start_from("<r><a><b/></a>\r\n</r>");
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindChildElem("b"));
  ASSERT_TRUE(doc.AddElem("x"));
  expect_text("<r><a><b/></a>\r\n<x/>\r\n</r>");
}

// --- The position ---

TEST_F(XmlBuildTest, AnAddedChildBecomesTheCurrentChildUnderTheSameMainElement) {
  ASSERT_TRUE(doc.AddElem("r"));
  ASSERT_TRUE(doc.AddChildElem("a", "1"));
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_EQ(doc.GetChildData(), "1");
  ASSERT_TRUE(doc.AddChildElem("b", "2"));
  EXPECT_EQ(doc.GetChildData(), "2");
  ASSERT_TRUE(doc.IntoElem());
  EXPECT_EQ(doc.GetTagName(), "b");
}

TEST_F(XmlBuildTest, AnAddedSiblingHasNoCurrentChild) {
  start_from("<r><a><b>1</b></a></r>");
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindChildElem("b"));
  EXPECT_EQ(doc.GetChildData(), "1");
  ASSERT_TRUE(doc.AddElem("x"));
  EXPECT_EQ(doc.GetChildData(), "");
  EXPECT_FALSE(doc.FindChildElem());
}

TEST_F(XmlBuildTest, AnAddedRootCanBeGoneInto) {
  ASSERT_TRUE(doc.AddElem("r"));
  EXPECT_FALSE(doc.OutOfElem());
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.OutOfElem());
  EXPECT_EQ(doc.GetTagName(), "r");
}

// --- Data ---

TEST_F(XmlBuildTest, AnElementWithoutDataIsWrittenEmpty) {
  ASSERT_TRUE(doc.AddElem("r", ""));
  ASSERT_TRUE(doc.AddChildElem("a", nullptr));
  ASSERT_TRUE(doc.AddChildElem("b", ""));
  expect_text("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n");
}

TEST_F(XmlBuildTest, PlacesCountTheEscapedData) {
  ASSERT_TRUE(doc.AddElem("r"));
  ASSERT_TRUE(doc.AddChildElem("d", "<&>"));
  expect_text("<r>\r\n<d>&lt;&amp;&gt;</d>\r\n</r>\r\n");
  EXPECT_EQ(place_of(doc, child_of(doc, root_of(doc))), (Place{5, 7, 21, 24}));
}

TEST_F(XmlBuildTest, AnIntegerIsWrittenInDecimal) {
  ASSERT_TRUE(doc.AddElem("r"));
  for (const int value : {0, 1536, -1, INT_MAX, INT_MIN}) {
    ASSERT_TRUE(doc.AddChildElem("n", value));
    EXPECT_EQ(doc.GetChildData(), std::to_string(value));
  }
  expect_text(
      "<r>\r\n<n>0</n>\r\n<n>1536</n>\r\n<n>-1</n>\r\n<n>2147483647</n>\r\n<n>-2147483648</n>\r\n</r>\r\n");
}

TEST_F(XmlBuildTest, AReplyGrowsLineByLine) {
  doc.SetDoc(kHeader.c_str());
  ASSERT_TRUE(doc.AddElem("TestItem"));
  ASSERT_TRUE(doc.AddChildElem("TestCode", 1536));
  ASSERT_TRUE(doc.AddChildElem("TestName", "RTC"));
  ASSERT_TRUE(doc.AddChildElem("Result"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddChildElem("ResultItem"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddChildElem("Name", "\xB2\xE2\xCA\xD4\xBD\xE1\xB9\xFB"));
  ASSERT_TRUE(doc.AddChildElem("Value", "Pass"));
  ASSERT_TRUE(doc.AddChildElem("Description", "ok"));
  expect_text(
      kHeader +
      "<TestItem>\r\n<TestCode>1536</TestCode>\r\n<TestName>RTC</TestName>\r\n<Result>\r\n<ResultItem>\r\n"
      "<Name>\xB2\xE2\xCA\xD4\xBD\xE1\xB9\xFB</Name>\r\n<Value>Pass</Value>\r\n"
      "<Description>ok</Description>\r\n</ResultItem>\r\n</Result>\r\n</TestItem>\r\n");
}

}  // namespace
