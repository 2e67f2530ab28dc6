// Moving through a document: finding siblings and children by name, going in and out.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_support.h"

namespace {

class XmlNavigationTest : public xml_support::XmlTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(parse("<r>\r\n<a>1</a>\r\n<b>2</b>\r\n<a>3</a>\r\n<c><d>4</d><e><f>5</f></e></c></r>\r\n"));
  }

  /// Makes the root the parent level, with no element current in it.
  void into_root() {
    ASSERT_TRUE(doc.FindElem("r"));
    ASSERT_TRUE(doc.IntoElem());
  }
};

// --- Siblings ---

TEST_F(XmlNavigationTest, TheRootIsTheOnlyElementAtDocumentLevel) {
  EXPECT_EQ(doc.GetTagName(), "");
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_FALSE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "r");
}

TEST_F(XmlNavigationTest, SiblingsAreFoundOneAfterTheOther) {
  into_root();
  std::string names;
  while (doc.FindElem()) names += doc.GetTagName();
  EXPECT_EQ(names, "abac");
  EXPECT_EQ(doc.GetTagName(), "c");
}

TEST_F(XmlNavigationTest, AnEmptyNameMatchesAnyElement) {
  into_root();
  ASSERT_TRUE(doc.FindElem(""));
  EXPECT_EQ(doc.GetTagName(), "a");
  ASSERT_TRUE(doc.FindElem(nullptr));
  EXPECT_EQ(doc.GetTagName(), "b");
  doc.ResetMainPos();
  doc.OutOfElem();
  ASSERT_TRUE(doc.FindChildElem(""));
  EXPECT_EQ(doc.GetChildData(), "1");
  ASSERT_TRUE(doc.FindChildElem(nullptr));
  EXPECT_EQ(doc.GetChildData(), "2");
}

// --- Names ---

TEST_F(XmlNavigationTest, ResultDoesNotStopOnResultItemAndResultItemNotOnResult) {
  ASSERT_TRUE(doc.SetDoc("<T><ResultItem>1</ResultItem><Result>2</Result><ResultItem>3</ResultItem></T>"));
  ASSERT_TRUE(doc.FindChildElem("Result"));
  EXPECT_EQ(doc.GetChildData(), "2");
  ASSERT_TRUE(doc.FindChildElem("ResultItem"));
  EXPECT_EQ(doc.GetChildData(), "3");
  EXPECT_FALSE(doc.FindChildElem("Result"));
}

TEST_F(XmlNavigationTest, ANameMayCarryMoreBehindABlankEqualsSlashOrSquareBracket) {
  for (const char* name : {"b", "b ", "b x", "b=2", "b/d", "b[1]"}) {
    doc.ResetPos();
    EXPECT_TRUE(doc.FindChildElem(name)) << name;
    EXPECT_EQ(doc.GetChildData(), "2") << name;
  }
}

TEST_F(XmlNavigationTest, ASquareBracketInATagBelongsToItsName) {
  ASSERT_TRUE(doc.SetDoc("<r><p[2]>1</p><p>2</p></r>"));
  ASSERT_TRUE(doc.FindChildElem("p"));
  EXPECT_EQ(doc.GetChildData(), "2");
  doc.ResetPos();
  ASSERT_TRUE(doc.FindChildElem("p[2]"));
  EXPECT_EQ(doc.GetChildData(), "1");
}

TEST_F(XmlNavigationTest, AttributesAndBlanksDoNotHideATagName) {
  ASSERT_TRUE(doc.SetDoc("< r x='1'><p\r\ny=\"2\">1</p>< q/></r>"));
  ASSERT_TRUE(doc.FindElem("r"));
  EXPECT_EQ(doc.GetTagName(), "r");
  ASSERT_TRUE(doc.FindChildElem("p"));
  EXPECT_EQ(doc.GetChildData(), "1");
  ASSERT_TRUE(doc.FindChildElem("q"));
}

// --- Children ---

TEST_F(XmlNavigationTest, LookingForAChildFirstSelectsTheFirstElementOfItsLevel) {
  ASSERT_TRUE(doc.SetDoc("<r><c><d>4</d></c><x><d>5</d></x></r>"));
  into_root();
  ASSERT_TRUE(doc.FindChildElem("d"));
  EXPECT_EQ(doc.GetTagName(), "c");
  EXPECT_EQ(doc.GetChildData(), "4");
}

TEST_F(XmlNavigationTest, ADocumentWithoutElementsHasNoChildren) {
  EXPECT_FALSE(doc.SetDoc("<r>"));
  EXPECT_FALSE(doc.FindChildElem());
  EXPECT_FALSE(doc.FindChildElem("r"));
  EXPECT_EQ(doc.GetChildData(), "");
}

TEST_F(XmlNavigationTest, InsideAnElementWithoutChildrenTheRootIsNotTakenForAChild) {
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.IntoElem());
  EXPECT_FALSE(doc.FindChildElem());
  EXPECT_FALSE(doc.FindChildElem("r"));
  EXPECT_EQ(doc.GetTagName(), "");
  ASSERT_TRUE(doc.OutOfElem());
  EXPECT_EQ(doc.GetTagName(), "a");
}

// --- In and out ---

TEST_F(XmlNavigationTest, GoingOutMakesTheFormerMainElementTheCurrentChild) {
  ASSERT_TRUE(doc.FindChildElem("a"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindElem("b"));
  ASSERT_TRUE(doc.OutOfElem());
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_EQ(doc.GetChildData(), "2");
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildData(), "3");
}

TEST_F(XmlNavigationTest, GoingOutUndoesGoingInLevelByLevel) {
  ASSERT_TRUE(doc.FindChildElem("c"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindChildElem("e"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindChildElem("f"));
  EXPECT_EQ(doc.GetTagName(), "e");
  EXPECT_EQ(doc.GetChildData(), "5");
  ASSERT_TRUE(doc.OutOfElem());
  EXPECT_EQ(doc.GetTagName(), "c");
  ASSERT_TRUE(doc.OutOfElem());
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_FALSE(doc.OutOfElem());
}

// --- Starting again ---

TEST_F(XmlNavigationTest, AResetPositionStartsAtDocumentLevelAgain) {
  into_root();
  ASSERT_TRUE(doc.FindElem("c"));
  ASSERT_TRUE(doc.FindChildElem("d"));
  doc.ResetPos();
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_EQ(doc.GetChildData(), "");
  EXPECT_FALSE(doc.IntoElem());
  EXPECT_FALSE(doc.OutOfElem());
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "r");
}

}  // namespace
