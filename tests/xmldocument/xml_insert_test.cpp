// Inserting: elements that go before the current one, or first, and names that no element can have.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::OpenDocument;
using xml_support::walk;
using xml_support::walk_of_fresh_parse;

class XmlInsertTest : public testing::Test {
 protected:
  OpenDocument doc;

  /// Starts from that text, with the root as the main element.
  void start_from(const std::string& text) {
    ASSERT_TRUE(doc.SetDoc(text.c_str())) << doc.m_strError;
    ASSERT_TRUE(doc.FindElem());
  }
  bool insert_child(const char* name, const char* data = nullptr) {
    return doc.x_AddElem(name, data, true, true);
  }
  bool insert_sibling(const char* name, const char* data = nullptr) {
    return doc.x_AddElem(name, data, true, false);
  }
  /// The text is that one, and the index is what parsing it anew gives.
  void expect_text(const std::string& text) {
    EXPECT_EQ(doc.GetDoc(), text);
    EXPECT_EQ(walk(doc), walk_of_fresh_parse(text));
    EXPECT_FALSE(walk(doc).empty());
  }
};

// --- Children ---

TEST_F(XmlInsertTest, AChildGoesBeforeTheCurrentChild) {
  start_from("<r>\r\n<a/>\r\n<b/>\r\n<c/>\r\n</r>\r\n");
  ASSERT_TRUE(doc.FindChildElem("b"));
  ASSERT_TRUE(insert_child("x", "1"));
  expect_text("<r>\r\n<a/>\r\n<x>1</x>\r\n<b/>\r\n<c/>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetChildData(), "1") << "it is the current child";
  EXPECT_EQ(doc.GetTagName(), "r");
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "b");
}

TEST_F(XmlInsertTest, AChildGoesBeforeTheFirstChildWhenThatIsCurrent) {
  start_from("<r><a>1</a><b>2</b></r>");
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(insert_child("x"));
  expect_text("<r><x/>\r\n<a>1</a><b>2</b></r>");
}

TEST_F(XmlInsertTest, AChildGoesBeforeTheLastChildWhenThatIsCurrent) {
  start_from("<r><a/><b><c>1</c></b></r>");
  ASSERT_TRUE(doc.FindChildElem("b"));
  ASSERT_TRUE(insert_child("x"));
  expect_text("<r><a/><x/>\r\n<b><c>1</c></b></r>");
}

TEST_F(XmlInsertTest, WithoutACurrentChildAChildGoesFirst) {
  start_from("<r>\r\n<a/>\r\n<b/>\r\n</r>\r\n");
  ASSERT_TRUE(insert_child("x", "1"));
  expect_text("<r>\r\n<x>1</x>\r\n<a/>\r\n<b/>\r\n</r>\r\n");
  doc.ResetChildPos();
  ASSERT_TRUE(insert_child("y"));
  expect_text("<r>\r\n<y/>\r\n<x>1</x>\r\n<a/>\r\n<b/>\r\n</r>\r\n");
}

TEST_F(XmlInsertTest, ChildrenInsertedOneAfterTheOtherStandInReverseOrder) {
  start_from("<r/>");
  for (const char* name : {"a", "b", "c"}) ASSERT_TRUE(insert_child(name));
  expect_text("<r>\r\n<c/>\r\n<b/>\r\n<a/>\r\n</r>");
}

TEST_F(XmlInsertTest, AnEmptyParentIsOpenedForAnInsertedChild) {
  start_from("<r><p/><q/></r>");
  ASSERT_TRUE(doc.FindChildElem("p"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(insert_child("x", "1"));
  expect_text("<r><p>\r\n<x>1</x>\r\n</p><q/></r>");
}

TEST_F(XmlInsertTest, AParentOfNothingGetsALineEndBehindItsStartTag) {
  start_from("<r></r>");
  ASSERT_TRUE(insert_child("x"));
  expect_text("<r>\r\n<x/>\r\n</r>");
}

TEST_F(XmlInsertTest, AParentWithTextTakesAnInsertedChildBeforeTheText) {
  start_from("<r>text</r>");
  ASSERT_TRUE(insert_child("x"));
  expect_text("<r><x/>\r\ntext</r>");
}

TEST_F(XmlInsertTest, AChildNeedsAMainElement) {
  start_from("<r><a/></r>");
  doc.ResetPos();
  EXPECT_FALSE(insert_child("x"));
  expect_text("<r><a/></r>");
}

// --- Siblings ---

TEST_F(XmlInsertTest, ASiblingGoesBeforeTheMainElementAndBecomesIt) {
  start_from("<r><a><b/></a><c>1</c></r>");
  ASSERT_TRUE(doc.FindChildElem("c"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(insert_sibling("x", "2"));
  expect_text("<r><a><b/></a><x>2</x>\r\n<c>1</c></r>");
  EXPECT_EQ(doc.GetTagName(), "x");
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "c");
}

TEST_F(XmlInsertTest, WithoutAMainElementASiblingGoesFirst) {
  start_from("<r><a/><b/></r>");
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(insert_sibling("x"));
  expect_text("<r><x/>\r\n<a/><b/></r>");
}

TEST_F(XmlInsertTest, ARootIsInsertedBeforeEverythingElse) {
  const std::string header = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";
  ASSERT_FALSE(doc.SetDoc(header.c_str()));
  ASSERT_TRUE(insert_sibling("TestItem"));
  expect_text("<TestItem/>\r\n" + header);
  EXPECT_EQ(doc.GetTagName(), "TestItem");
  ASSERT_TRUE(doc.AddChildElem("TestCode", 1)) << "it takes children like any root";
  expect_text("<TestItem>\r\n<TestCode>1</TestCode>\r\n</TestItem>\r\n" + header);
}

TEST_F(XmlInsertTest, ARootIsInsertedIntoAnEmptyDocument) {
  ASSERT_TRUE(insert_sibling("r", "1"));
  expect_text("<r>1</r>\r\n");
}

TEST_F(XmlInsertTest, ASecondRootIsNotInsertedEither) {
  start_from("<r/>");
  EXPECT_FALSE(insert_sibling("x"));
  EXPECT_EQ(doc.GetTagName(), "r");
  doc.ResetPos();
  EXPECT_FALSE(insert_sibling("x"));
  expect_text("<r/>");
}

// --- Names that no element can have ---

TEST_F(XmlInsertTest, AnElementWithoutANameIsRefusedAndNothingChanges) {
  const char* const none = nullptr;
  for (const char* name : {none, ""}) {
    doc.SetDoc(nullptr);
    EXPECT_FALSE(doc.AddElem(name)) << "as a root";
    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_FALSE(doc.IsWellFormed());
    EXPECT_EQ(doc.next_free(), 1);

    start_from("<r><a>1</a></r>");
    ASSERT_TRUE(doc.FindChildElem("a"));
    EXPECT_FALSE(doc.AddChildElem(name));
    EXPECT_FALSE(doc.AddChildElem(name, "data"));
    EXPECT_FALSE(doc.AddChildElem(name, 7));
    EXPECT_FALSE(insert_child(name));
    EXPECT_EQ(doc.GetChildData(), "1") << "the position stays";
    ASSERT_TRUE(doc.IntoElem());
    EXPECT_FALSE(doc.AddElem(name));
    EXPECT_FALSE(doc.AddElem(name, "data"));
    EXPECT_FALSE(insert_sibling(name));
    EXPECT_EQ(doc.GetTagName(), "a") << "the position stays";
    EXPECT_EQ(doc.next_free(), 3);
    expect_text("<r><a>1</a></r>");
  }
}

}  // namespace
