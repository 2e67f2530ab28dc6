// Assignment: what one document takes over from another, and what it keeps of its own.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_edit_support.h"

namespace {

using xml_support::EditDocument;
using xml_support::entry;
using xml_support::Trace;
using xml_support::walk;
using xml_support::walk_of_fresh_parse;

class XmlAssignTest : public xml_support::XmlEditTest {
 protected:
  EditDocument target;
};

const std::string kText = "<r>\r\n<a><x>1</x><y>2</y></a>\r\n<b/>\r\n</r>\r\n";

TEST_F(XmlAssignTest, TextIndexAndPositionAreTakenOver) {
  start_inside(kText, "a");
  ASSERT_TRUE(doc.FindChildElem("y"));
  target = doc;
  EXPECT_EQ(Trace(target), Trace(doc));
  EXPECT_EQ(target.GetDoc(), kText);
  EXPECT_EQ(target.GetTagName(), "a");
  EXPECT_EQ(target.GetChildData(), "2");
  EXPECT_TRUE(target.OutOfElem());
  EXPECT_EQ(target.GetTagName(), "r");
}

TEST_F(XmlAssignTest, TheIndexIsCopiedEntryByEntry) {
  start_from(kText);
  target = doc;
  ASSERT_EQ(target.m_aPos.size(), doc.m_aPos.size());
  for (int i = 0; i < static_cast<int>(doc.m_aPos.size()); ++i) {
    EXPECT_EQ(entry(target, i).nStartL, entry(doc, i).nStartL) << i;
    EXPECT_EQ(entry(target, i).nEndR, entry(doc, i).nEndR) << i;
    EXPECT_EQ(entry(target, i).iElemParent, entry(doc, i).iElemParent) << i;
    EXPECT_EQ(entry(target, i).iElemChild, entry(doc, i).iElemChild) << i;
    EXPECT_EQ(entry(target, i).iElemNext, entry(doc, i).iElemNext) << i;
  }
  EXPECT_EQ(target.next_free(), doc.next_free());
}

TEST_F(XmlAssignTest, TheTwoDocumentsAreApartAfterwards) {
  start_from(kText, "b");
  target = doc;
  ASSERT_TRUE(target.SetChildData("target"));
  ASSERT_TRUE(doc.RemoveElem());
  EXPECT_EQ(target.GetDoc(), "<r>\r\n<a><x>1</x><y>2</y></a>\r\n<b>target</b>\r\n</r>\r\n");
  EXPECT_EQ(walk(target), walk_of_fresh_parse(target.GetDoc()));
  expect_text("");
}

TEST_F(XmlAssignTest, TheNodeTypeIsTakenOver) {
  start_from(kText);
  target = doc;
  EXPECT_TRUE(target.SetAttrib("n", 1)) << "an element is current";
  doc.ResetPos();
  target = doc;
  EXPECT_FALSE(target.SetAttrib("n", 2)) << "none is";
}

TEST_F(XmlAssignTest, TheErrorTextStaysTheTargetsOwn) {
  EXPECT_FALSE(target.SetDoc("<a><b></a>"));
  const std::string error = target.m_strError;
  ASSERT_FALSE(error.empty());
  start_from(kText);
  target = doc;
  EXPECT_EQ(target.m_strError, error);
  EXPECT_TRUE(target.IsWellFormed());

  EXPECT_FALSE(doc.SetDoc("<a"));
  ASSERT_NE(doc.m_strError, error);
  target = doc;
  EXPECT_EQ(target.m_strError, error);
  EXPECT_FALSE(target.IsWellFormed());
  EXPECT_EQ(target.GetDoc(), "<a");
}

TEST_F(XmlAssignTest, TheSavedPositionsStayTheTargetsOwn) {
  ASSERT_TRUE(target.SetDoc(kText.c_str()));
  ASSERT_TRUE(target.FindElem());
  ASSERT_TRUE(target.SavePos("own"));
  start_from(kText, "b");
  ASSERT_TRUE(doc.SavePos("foreign"));
  target = doc;
  EXPECT_FALSE(target.RestorePos("foreign"));
  EXPECT_EQ(target.GetChildSubDoc(), "<b/>\r\n");
  EXPECT_TRUE(target.RestorePos("own"));
  EXPECT_EQ(target.GetTagName(), "r");
  EXPECT_EQ(target.GetChildSubDoc(), "");
}

TEST_F(XmlAssignTest, ADocumentAssignedToItselfIsTheSame) {
  start_from(kText, "b");
  ASSERT_TRUE(doc.SavePos("p"));
  const Trace before(doc);
  const EditDocument& itself = doc;
  doc = itself;
  EXPECT_EQ(Trace(doc), before);
  EXPECT_TRUE(doc.RestorePos("p"));
}

TEST_F(XmlAssignTest, AnEmptyDocumentEmptiesTheTarget) {
  start_from(kText);
  doc = target;
  expect_text("");
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_EQ(doc.next_free(), 1);
  EXPECT_TRUE(doc.AddElem("r")) << "it can be built in again";
  expect_text("<r/>\r\n");
}

TEST_F(XmlAssignTest, AssignmentsCanBeChained) {
  start_from(kText);
  EditDocument third;
  EXPECT_EQ(&(third = target = doc), &third);
  EXPECT_EQ(third.GetDoc(), kText);
  EXPECT_EQ(target.GetDoc(), kText);
}

TEST_F(XmlAssignTest, ATargetWithRemovedElementsKeepsTheirIndicesUnused) {
  start_from(kText, "a");
  ASSERT_TRUE(doc.RemoveChildElem());
  target = doc;
  EXPECT_EQ(target.next_free(), doc.next_free());
  EXPECT_TRUE(target.AddChildElem("n", 1));
  EXPECT_EQ(walk(target), walk_of_fresh_parse(target.GetDoc()));
}

}  // namespace
