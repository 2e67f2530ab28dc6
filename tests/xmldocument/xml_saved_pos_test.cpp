// Saved positions: what a name brings back, what forgets it, and names whose elements are gone.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::OpenDocument;
using xml_support::Trace;
using xml_support::walk;
using xml_support::walk_of_fresh_parse;

using XmlSavedPosTest = xml_support::XmlTest;

const std::string kText = "<r><a><x>1</x><y>2</y></a><b><z>3</z></b></r>";

TEST_F(XmlSavedPosTest, AllThreePartsOfAPositionAreBroughtBack) {
  start_inside(kText, "a");
  ASSERT_TRUE(doc.FindChildElem("y"));
  EXPECT_TRUE(doc.SavePos("here"));
  doc.ResetPos();
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_TRUE(doc.RestorePos("here"));
  EXPECT_EQ(doc.GetTagName(), "a");
  EXPECT_EQ(doc.GetChildData(), "2");
  EXPECT_TRUE(doc.OutOfElem());
  EXPECT_EQ(doc.GetTagName(), "r");
}

TEST_F(XmlSavedPosTest, NoNameAndAnUnknownNameAreRefusedAndThePositionStays) {
  start_from(kText, "a");
  EXPECT_TRUE(doc.SavePos("known"));
  ASSERT_TRUE(doc.FindChildElem("b"));
  const Trace before(doc);
  EXPECT_FALSE(doc.SavePos(nullptr));
  EXPECT_FALSE(doc.RestorePos(nullptr));
  EXPECT_FALSE(doc.RestorePos("unknown"));
  EXPECT_FALSE(doc.RestorePos("")) << "which can be a name too";
  EXPECT_FALSE(doc.RestorePos("know"));
  EXPECT_FALSE(doc.RestorePos("known2"));
  EXPECT_EQ(Trace(doc), before);
  EXPECT_TRUE(doc.SavePos(""));
  EXPECT_TRUE(doc.RestorePos(""));
}

TEST_F(XmlSavedPosTest, ANewTextForgetsAllNames) {
  start_from(kText);
  EXPECT_TRUE(doc.SavePos("p"));
  EXPECT_TRUE(doc.SavePos("q"));
  ASSERT_TRUE(doc.SetDoc(kText.c_str()));
  EXPECT_FALSE(doc.RestorePos("p"));
  EXPECT_FALSE(doc.RestorePos("q"));
  EXPECT_TRUE(doc.SavePos("p"));
  EXPECT_FALSE(doc.SetDoc("<broken"));
  EXPECT_FALSE(doc.RestorePos("p")) << "a broken text too";
}

/// Everything that can be asked of a document whose position may lie anywhere.
void read_all(const OpenDocument& doc) {
  doc.GetTagName();
  doc.GetChildData();
  doc.GetSubDoc();
  doc.GetChildSubDoc();
  doc.GetAttrib("n");
  doc.GetChildAttrib("n");
  doc.GetAttribName(0);
}

TEST_F(XmlSavedPosTest, ANameWhoseElementsAreGoneDoesNoHarm) {
  const std::vector<void (*)(OpenDocument&)> edits = {
      [](OpenDocument& d) { d.SetAttrib("n", "1"); }, [](OpenDocument& d) { d.SetChildAttrib("n", "1"); },
      [](OpenDocument& d) { d.SetData("data"); },     [](OpenDocument& d) { d.SetChildData("data", 1); },
      [](OpenDocument& d) { d.RemoveElem(); },        [](OpenDocument& d) { d.RemoveChildElem(); },
      [](OpenDocument& d) { d.AddElem("n"); },        [](OpenDocument& d) { d.AddChildElem("n"); },
      [](OpenDocument& d) { d.InsertElem("n"); },     [](OpenDocument& d) { d.InsertChildElem("n"); },
      [](OpenDocument& d) { d.AddSubDoc("<n/>"); },   [](OpenDocument& d) { d.InsertChildSubDoc("<n/>"); },
  };
  for (std::size_t edit = 0; edit < edits.size(); ++edit) {
    start_inside(kText, "b");
    ASSERT_TRUE(doc.FindChildElem());
    ASSERT_TRUE(doc.SavePos("gone"));
    ASSERT_TRUE(doc.OutOfElem());
    ASSERT_TRUE(doc.RemoveElem()) << "the whole document";
    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_TRUE(doc.RestorePos("gone")) << "only a new text forgets a name";
    read_all(doc);
    edits[edit](doc);
    EXPECT_EQ(walk(doc), walk_of_fresh_parse(doc.GetDoc())) << edit << ": " << doc.GetDoc();
    read_all(doc);
    for (int i = 0; i < 5 && doc.OutOfElem(); ++i) read_all(doc);
    while (doc.FindElem()) read_all(doc);
  }
}

TEST_F(XmlSavedPosTest, ALevelThatTheDocumentNeverHadIsDocumentLevel) {
  ASSERT_TRUE(doc.AddElem("r"));
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(doc.AddChildElem("n", i));
  ASSERT_TRUE(doc.AddChildElem("last"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddChildElem("below"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddChildElem("deeper"));
  ASSERT_TRUE(doc.SavePos("far"));
  const XmlDocument empty;
  static_cast<XmlDocument&>(doc) = empty;
  EXPECT_TRUE(doc.RestorePos("far"));
  read_all(doc);
  EXPECT_FALSE(doc.RemoveElem());
  EXPECT_FALSE(doc.SetData("x"));
  EXPECT_FALSE(doc.FindChildElem());
  XmlDocument small;
  ASSERT_TRUE(small.SetDoc("<s/>"));
  static_cast<XmlDocument&>(doc) = small;
  EXPECT_TRUE(doc.RestorePos("far"));
  read_all(doc);
  EXPECT_FALSE(doc.OutOfElem()) << "there is no such parent";
  EXPECT_FALSE(doc.AddElem("t")) << "it would be a second root";
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "s");
  expect_text("<s/>");
}

// --- What an assignment makes of them ---

class XmlAssignTest : public xml_support::XmlTest {
 protected:
  OpenDocument target;
};

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
  EXPECT_EQ(target.GetChildSubDoc(), "<b><z>3</z></b>");
  EXPECT_TRUE(target.RestorePos("own"));
  EXPECT_EQ(target.GetTagName(), "r");
  EXPECT_EQ(target.GetChildSubDoc(), "");
}

TEST_F(XmlAssignTest, ADocumentAssignedToItselfIsTheSame) {
  start_from(kText, "b");
  ASSERT_TRUE(doc.SavePos("p"));
  const Trace before(doc);
  const OpenDocument& itself = doc;
  doc = itself;
  EXPECT_EQ(Trace(doc), before);
  EXPECT_TRUE(doc.RestorePos("p"));
}

TEST_F(XmlAssignTest, AssignmentsCanBeChained) {
  start_from(kText);
  OpenDocument third;
  EXPECT_EQ(&(third = target = doc), &third);
  EXPECT_EQ(third.GetDoc(), kText);
  EXPECT_EQ(target.GetDoc(), kText);
}

}  // namespace
