// Replacing the content of an element: escaped text, CDATA sections, and elements that refuse it.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::Place;
using xml_support::Trace;

using XmlDataTest = xml_support::XmlTest;

TEST_F(XmlDataTest, WhateverAnElementHoldsIsReplaced) {
  start_from("<r>\r\n<a> <!-- <a> --> text <![CDATA[<b>]]> <?p i?>\r\n</a>\r\n<b n='/' />\r\n</r>\r\n", "a");
  EXPECT_TRUE(doc.SetChildData("<b x=\"1\">&'</b>"));
  EXPECT_EQ(doc.GetChildData(), "<b x=\"1\">&'</b>");
  ASSERT_TRUE(doc.FindChildElem("b"));
  EXPECT_TRUE(doc.SetChildData("<x>&lt;</x>", 1)) << "an empty element is opened";
  EXPECT_EQ(doc.GetChildData(), "<x>&lt;</x>");
  expect_text(
      "<r>\r\n<a>&lt;b x=\"1\"&gt;&amp;'&lt;/b&gt;</a>\r\n<b n='/' ><![CDATA[<x>&lt;</x>]]></b>\r\n</r>\r\n");
}

TEST_F(XmlDataTest, OfTwoSlashesAnEmptyElementKeepsOneWhenItIsOpened) {
  start_from("<a//>");
  EXPECT_TRUE(doc.SetData("x"));
  EXPECT_EQ(doc.GetDoc(), "<a/>x</a>");
  EXPECT_EQ(root_place(), (Place{0, 3, 5, 8})) << "the element is open where it stands";
  EXPECT_TRUE(doc.SetData("yy"));
  EXPECT_EQ(doc.GetDoc(), "<a/>yy</a>");
  ASSERT_TRUE(doc.SetDoc(doc.GetDoc().c_str()));
  EXPECT_EQ(root_place(), (Place{0, 3, 2, 3})) << "parsed anew, it is empty";
  start_from("<a//>");
  EXPECT_TRUE(doc.AddChildElem("b"));
  EXPECT_EQ(doc.GetDoc(), "<a/>\r\n<b/>\r\n</a>");
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

TEST_F(XmlDataTest, DataThatHoldsTheEndOfASectionIsStoredEscaped) {
  start_from("<r><a/></r>", "a");
  EXPECT_TRUE(doc.SetChildData("x]]>y<z", 1));
  expect_text("<r><a>x]]&gt;y&lt;z</a></r>");
  EXPECT_EQ(doc.GetChildData(), "x]]>y<z");
  EXPECT_TRUE(doc.SetChildData("]]>", 1));
  expect_text("<r><a>]]&gt;</a></r>");
}

TEST_F(XmlDataTest, NoDataIsEmptyData) {
  start_from("<r>old</r>");
  EXPECT_TRUE(doc.SetData(nullptr));
  expect_text("<r></r>");
  EXPECT_TRUE(doc.SetData(nullptr, 1));
  expect_text("<r><![CDATA[]]></r>");
}

TEST_F(XmlDataTest, AnElementWithChildrenRefusesData) {
  start_from("<r><a><b/></a></r>", "a");
  const Trace before(doc);
  EXPECT_FALSE(doc.SetData("x"));
  EXPECT_FALSE(doc.SetData("x", 1));
  EXPECT_FALSE(doc.SetChildData("x"));
  EXPECT_FALSE(doc.SetChildData("x", 1));
  EXPECT_EQ(Trace(doc), before);
}

}  // namespace
