// Replacing the content of an element: escaped text, CDATA sections, and elements that refuse it.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_edit_support.h"

namespace {

using xml_support::child_of;
using xml_support::kGbkText;
using xml_support::Place;
using xml_support::place_of;
using xml_support::root_of;
using xml_support::Trace;

using XmlDataTest = xml_support::XmlEditTest;

// --- Where it goes ---

TEST_F(XmlDataTest, TheContentOfTheMainElementIsReplaced) {
  start_from("<r>old</r>\r\n");
  EXPECT_TRUE(doc.SetData("longer data"));
  expect_text("<r>longer data</r>\r\n");
  EXPECT_TRUE(doc.SetData("x"));
  expect_text("<r>x</r>\r\n");
}

TEST_F(XmlDataTest, TheContentOfTheCurrentChildIsReplaced) {
  start_from("<r>\r\n<a>1</a>\r\n<b>2</b>\r\n<c>3</c>\r\n</r>\r\n", "b");
  EXPECT_TRUE(doc.SetChildData("222"));
  expect_text("<r>\r\n<a>1</a>\r\n<b>222</b>\r\n<c>3</c>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetChildData(), "222");
}

TEST_F(XmlDataTest, AnEmptyElementIsOpened) {
  start_from("<r/>\r\n");
  EXPECT_TRUE(doc.SetData("12"));
  expect_text("<r>12</r>\r\n");
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 2, 5, 8}));
  EXPECT_FALSE(xml_support::entry(doc, root_of(doc)).IsEmptyElement());
}

TEST_F(XmlDataTest, AnEmptyChildIsOpenedAndItsSiblingsMove) {
  start_from("<r><a/><item/><c><d/></c></r>", "item");
  EXPECT_TRUE(doc.SetChildData("1"));
  expect_text("<r><a/><item>1</item><c><d/></c></r>");
  EXPECT_EQ(place_of(doc, xml_support::next_of(doc, child_of(doc, root_of(doc)))), (Place{7, 12, 14, 20}));
}

TEST_F(XmlDataTest, AnEmptyElementKeepsItsAttributesAndBlanksWhenItIsOpened) {
  start_from("<r a=\"1\" b='/' />");
  EXPECT_TRUE(doc.SetData("x"));
  expect_text("<r a=\"1\" b='/' >x</r>");
  EXPECT_EQ(doc.GetAttrib("b"), "/");
}

TEST_F(XmlDataTest, OfTwoSlashesAnEmptyElementKeepsOneWhenItIsOpened) {
  start_from("<a//>");
  EXPECT_TRUE(doc.SetData("x"));
  EXPECT_EQ(doc.GetDoc(), "<a/>x</a>");
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 3, 5, 8})) << "the element is open where it stands";
  EXPECT_TRUE(doc.SetData("yy"));
  EXPECT_EQ(doc.GetDoc(), "<a/>yy</a>");
  ASSERT_TRUE(doc.SetDoc(doc.GetDoc().c_str()));
  EXPECT_EQ(place_of(doc, root_of(doc)), (Place{0, 3, 2, 3})) << "parsed anew, it is empty";
  start_from("<a//>");
  EXPECT_TRUE(doc.AddChildElem("b"));
  EXPECT_EQ(doc.GetDoc(), "<a/>\r\n<b/>\r\n</a>");
}

TEST_F(XmlDataTest, AnElementOfNothingTakesData) {
  start_from("<r a=\"1\"></r>");
  EXPECT_TRUE(doc.SetData("x"));
  expect_text("<r a=\"1\">x</r>");
}

TEST_F(XmlDataTest, EmptyDataLeavesAStartTagAndAnEndTag) {
  start_from("<r>old</r>");
  EXPECT_TRUE(doc.SetData(""));
  expect_text("<r></r>");
  start_from("<r/>");
  EXPECT_TRUE(doc.SetData(""));
  expect_text("<r></r>");
}

TEST_F(XmlDataTest, CommentsAndSectionsInTheContentGoWithIt) {
  start_from("<r> <!-- <a> --> text <![CDATA[<b>]]> <?p i?>\r\n</r>");
  EXPECT_TRUE(doc.SetData("x"));
  expect_text("<r>x</r>");
}

TEST_F(XmlDataTest, EverythingBehindMovesAndNothingBeforeIt) {
  start_from("<r>\r\n<a>1</a>\r\n<b/>\r\n<c><d>4</d></c>\r\n</r>\r\n", "b");
  ASSERT_TRUE(doc.SetChildData("a long text that moves what follows"));
  expect_text("<r>\r\n<a>1</a>\r\n<b>a long text that moves what follows</b>\r\n<c><d>4</d></c>\r\n</r>\r\n");
  ASSERT_TRUE(doc.FindChildElem("c"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<c><d>4</d></c>\r\n");
}

TEST_F(XmlDataTest, SettingDataLeavesThePositionAlone) {
  start_from("<r><a/><b/></r>", "b");
  ASSERT_TRUE(doc.SetChildData("1"));
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_EQ(doc.GetChildData(), "1");
  EXPECT_FALSE(doc.FindChildElem());
}

// --- Escaped text ---

TEST_F(XmlDataTest, MarkupInDataIsEscapedAndQuotationMarksAreNot) {
  start_from("<r><a/></r>", "a");
  EXPECT_TRUE(doc.SetChildData("<b x=\"1\">&'</b>"));
  expect_text("<r><a>&lt;b x=\"1\"&gt;&amp;'&lt;/b&gt;</a></r>");
  EXPECT_EQ(doc.GetChildData(), "<b x=\"1\">&'</b>");
}

TEST_F(XmlDataTest, GbkBytesAreStoredAsTheyAre) {
  start_from("<r><a>1</a><b/></r>", "a");
  EXPECT_TRUE(doc.SetChildData(kGbkText.c_str()));
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_TRUE(doc.SetChildData(kGbkText.c_str(), 1));
  expect_text("<r><a>" + kGbkText + "</a><b><![CDATA[" + kGbkText + "]]></b></r>");
  EXPECT_EQ(doc.GetChildData(), kGbkText);
}

// --- CDATA sections ---

TEST_F(XmlDataTest, ASectionHoldsDataVerbatim) {
  start_from("<r>old</r>");
  EXPECT_TRUE(doc.SetData("a<b>&amp;\"'", 1));
  expect_text("<r><![CDATA[a<b>&amp;\"']]></r>");
}

TEST_F(XmlDataTest, ASectionInAnEmptyElementIsReadBackVerbatim) {
  start_from("<r><a/><b/></r>", "a");
  EXPECT_TRUE(doc.SetChildData("<x>&lt;</x>", 1));
  expect_text("<r><a><![CDATA[<x>&lt;</x>]]></a><b/></r>");
  EXPECT_EQ(doc.GetChildData(), "<x>&lt;</x>");
}

TEST_F(XmlDataTest, AnyNumberButZeroAsksForASection) {
  for (const int asked : {1, -1, 8, 4096}) {
    start_from("<r/>");
    EXPECT_TRUE(doc.SetData("<", asked));
    expect_text("<r><![CDATA[<]]></r>");
  }
  EXPECT_TRUE(doc.SetData("<", 0));
  expect_text("<r>&lt;</r>");
}

TEST_F(XmlDataTest, AnEmptySectionIsWrittenAllTheSame) {
  start_from("<r><a/></r>", "a");
  EXPECT_TRUE(doc.SetChildData("", 1));
  expect_text("<r><a><![CDATA[]]></a></r>");
  EXPECT_EQ(doc.GetChildData(), "");
}

TEST_F(XmlDataTest, DataThatHoldsTheEndOfASectionIsStoredEscaped) {
  start_from("<r><a/></r>", "a");
  EXPECT_TRUE(doc.SetChildData("x]]>y<z", 1));
  expect_text("<r><a>x]]&gt;y&lt;z</a></r>");
  EXPECT_EQ(doc.GetChildData(), "x]]>y<z");
  EXPECT_TRUE(doc.SetChildData("]]>", 1));
  expect_text("<r><a>]]&gt;</a></r>");
}

TEST_F(XmlDataTest, DataThatOnlyBeginsTheEndOfASectionIsStoredInOne) {
  start_from("<r><a/></r>", "a");
  EXPECT_TRUE(doc.SetChildData("x]]", 1));
  expect_text("<r><a><![CDATA[x]]]]></a></r>");
  EXPECT_EQ(doc.GetChildData(), "x]]");
}

TEST_F(XmlDataTest, ASectionIsReplacedAsAWhole) {
  start_from("<r><a/></r>", "a");
  EXPECT_TRUE(doc.SetChildData("<one>", 1));
  EXPECT_TRUE(doc.SetChildData("<two>", 1));
  expect_text("<r><a><![CDATA[<two>]]></a></r>");
  EXPECT_TRUE(doc.SetChildData("three"));
  expect_text("<r><a>three</a></r>");
}

TEST_F(XmlDataTest, NoDataIsEmptyData) {
  start_from("<r>old</r>");
  EXPECT_TRUE(doc.SetData(nullptr));
  expect_text("<r></r>");
  EXPECT_TRUE(doc.SetData(nullptr, 1));
  expect_text("<r><![CDATA[]]></r>");
}

TEST_F(XmlDataTest, ASectionIsMadeAroundItsDataUnlessTheDataEndsIt) {
  EXPECT_EQ(doc.x_CreateNode(MNT_CDATA_SECTION, "a<b&]]"), "<![CDATA[a<b&]]]]>");
  EXPECT_EQ(doc.x_CreateNode(MNT_CDATA_SECTION, ""), "<![CDATA[]]>");
  EXPECT_EQ(doc.x_CreateNode(MNT_CDATA_SECTION, "a]]>b<"), "a]]&gt;b&lt;");
}

// --- What is refused ---

TEST_F(XmlDataTest, AnElementWithChildrenRefusesData) {
  start_from("<r><a><b/></a></r>", "a");
  const Trace before(doc);
  EXPECT_FALSE(doc.SetData("x"));
  EXPECT_FALSE(doc.SetData("x", 1));
  EXPECT_FALSE(doc.SetChildData("x"));
  EXPECT_FALSE(doc.SetChildData("x", 1));
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlDataTest, WithoutAPositionDataIsRefused) {
  ASSERT_TRUE(doc.SetDoc("<r>1</r>"));
  const Trace before(doc);
  EXPECT_FALSE(doc.SetData("x"));
  EXPECT_FALSE(doc.SetChildData("x"));
  EXPECT_FALSE(doc.x_SetData(0, "x", 0));
  EXPECT_EQ(Trace(doc), before);
  ASSERT_TRUE(doc.FindElem());
  EXPECT_FALSE(doc.SetChildData("x")) << "no child is current";
  expect_text("<r>1</r>");
}

TEST_F(XmlDataTest, AnEmptyDocumentRefusesData) {
  EXPECT_FALSE(doc.SetData("x"));
  EXPECT_FALSE(doc.SetChildData("x"));
  EXPECT_EQ(doc.GetDoc(), "");
}

TEST_F(XmlDataTest, AnElementWhoseLastChildWasRemovedTakesDataAgain) {
  start_from("<r>\r\n<a/>\r\n</r>", "a");
  ASSERT_TRUE(doc.RemoveChildElem());
  EXPECT_TRUE(doc.SetData("x"));
  expect_text("<r>x</r>");
}

TEST_F(XmlDataTest, AnElementWithDataTakesAChildAndThenNoDataAnyMore) {
  start_from("<r/>");
  ASSERT_TRUE(doc.SetData("x"));
  ASSERT_TRUE(doc.AddChildElem("a", 1));
  expect_text("<r>x<a>1</a>\r\n</r>");
  EXPECT_FALSE(doc.SetData("y"));
  expect_text("<r>x<a>1</a>\r\n</r>");
}

TEST_F(XmlDataTest, AnElementThatWasAddedTakesData) {
  ASSERT_TRUE(doc.AddElem("r"));
  ASSERT_TRUE(doc.AddChildElem("a"));
  EXPECT_TRUE(doc.SetChildData("1"));
  expect_text("<r>\r\n<a>1</a>\r\n</r>\r\n");
}

}  // namespace
