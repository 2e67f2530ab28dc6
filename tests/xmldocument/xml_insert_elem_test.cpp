// Inserting by the calls that a message would use: before the current element, or first.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "tests/xmldocument/xml_edit_support.h"

namespace {

using xml_support::kGbkText;
using xml_support::Trace;

using XmlInsertElemTest = xml_support::XmlEditTest;

TEST_F(XmlInsertElemTest, AnElementGoesBeforeTheMainElementAndBecomesIt) {
  start_inside("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n", "b");
  EXPECT_TRUE(doc.InsertElem("x", "1"));
  expect_text("<r>\r\n<a/>\r\n<x>1</x>\r\n<b/>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetTagName(), "x");
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "b");
}

TEST_F(XmlInsertElemTest, AnElementGoesBeforeTheFirstOfItsLevel) {
  start_inside("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n", "a");
  EXPECT_TRUE(doc.InsertElem("x"));
  expect_text("<r>\r\n<x/>\r\n<a/>\r\n<b/>\r\n</r>\r\n");
}

TEST_F(XmlInsertElemTest, WithoutAMainElementAnElementGoesFirst) {
  start_from("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n");
  ASSERT_TRUE(doc.IntoElem());
  EXPECT_TRUE(doc.InsertElem("x"));
  expect_text("<r>\r\n<x/>\r\n<a/>\r\n<b/>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetTagName(), "x");
}

TEST_F(XmlInsertElemTest, InsertingAndAddingAtTheSameElementStandOnItsTwoSides) {
  start_inside("<r><a/></r>", "a");
  EXPECT_TRUE(doc.InsertElem("before"));
  ASSERT_TRUE(doc.FindElem("a"));
  EXPECT_TRUE(doc.AddElem("behind"));
  expect_text("<r><before/>\r\n<a/><behind/>\r\n</r>");
}

TEST_F(XmlInsertElemTest, ARootGoesBeforeEverythingElse) {
  ASSERT_FALSE(doc.SetDoc("<!-- note -->\r\n"));
  EXPECT_TRUE(doc.InsertElem("r", "1"));
  expect_text("<r>1</r>\r\n<!-- note -->\r\n");
}

TEST_F(XmlInsertElemTest, ASecondRootIsRefused) {
  start_from("<r/>");
  const Trace before(doc);
  EXPECT_FALSE(doc.InsertElem("s"));
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlInsertElemTest, AChildGoesBeforeTheCurrentChildAndBecomesIt) {
  start_from("<r><a>1</a><b>2</b></r>", "b");
  EXPECT_TRUE(doc.InsertChildElem("x", "new"));
  expect_text("<r><a>1</a><x>new</x>\r\n<b>2</b></r>");
  EXPECT_EQ(doc.GetChildData(), "new");
  EXPECT_EQ(doc.GetTagName(), "r");
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildData(), "2");
}

TEST_F(XmlInsertElemTest, WithoutACurrentChildAChildGoesFirst) {
  start_from("<r>\r\n<a/>\r\n</r>");
  EXPECT_TRUE(doc.InsertChildElem("x"));
  expect_text("<r>\r\n<x/>\r\n<a/>\r\n</r>");
}

TEST_F(XmlInsertElemTest, AnEmptyParentIsOpened) {
  start_from("<r/>");
  EXPECT_TRUE(doc.InsertChildElem("x", "1"));
  expect_text("<r>\r\n<x>1</x>\r\n</r>");
}

TEST_F(XmlInsertElemTest, ANumberIsWrittenInDecimal) {
  start_from("<r/>");
  EXPECT_TRUE(doc.InsertChildElem("min", INT_MIN));
  EXPECT_TRUE(doc.InsertChildElem("max", INT_MAX));
  EXPECT_TRUE(doc.InsertChildElem("zero", 0));
  expect_text("<r>\r\n<zero>0</zero>\r\n<max>2147483647</max>\r\n<min>-2147483648</min>\r\n</r>");
}

TEST_F(XmlInsertElemTest, DataIsEscapedAndGbkBytesPass) {
  start_from("<r/>");
  EXPECT_TRUE(doc.InsertChildElem("a", ("<&>\"'" + kGbkText).c_str()));
  expect_text("<r>\r\n<a>&lt;&amp;&gt;\"'" + kGbkText + "</a>\r\n</r>");
  EXPECT_EQ(doc.GetChildData(), "<&>\"'" + kGbkText);
}

TEST_F(XmlInsertElemTest, WithoutAMainElementAChildIsRefused) {
  ASSERT_TRUE(doc.SetDoc("<r><a/></r>"));
  const Trace before(doc);
  EXPECT_FALSE(doc.InsertChildElem("x"));
  EXPECT_FALSE(doc.InsertChildElem("x", "1"));
  EXPECT_FALSE(doc.InsertChildElem("x", 1));
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlInsertElemTest, AnElementWithoutANameIsRefused) {
  start_from("<r><a/></r>", "a");
  const Trace before(doc);
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_FALSE(doc.InsertChildElem(name));
    EXPECT_FALSE(doc.InsertChildElem(name, 1));
    EXPECT_FALSE(doc.InsertElem(name));
  }
  EXPECT_EQ(Trace(doc), before);
}

}  // namespace
