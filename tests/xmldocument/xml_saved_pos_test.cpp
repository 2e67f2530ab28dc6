// Saved positions: what a name brings back, what forgets it, and names whose elements are gone.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_edit_support.h"

namespace {

using xml_support::Trace;
using xml_support::walk;

using XmlSavedPosTest = xml_support::XmlEditTest;

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

TEST_F(XmlSavedPosTest, APositionWithoutAMainElementCanBeSaved) {
  start_from(kText);
  ASSERT_TRUE(doc.IntoElem());
  EXPECT_TRUE(doc.SavePos("level"));
  ASSERT_TRUE(doc.FindElem("b"));
  EXPECT_TRUE(doc.RestorePos("level"));
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_FALSE(doc.RemoveElem()) << "nothing is current";
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "a");
}

TEST_F(XmlSavedPosTest, TheSameNameAgainReplacesTheEarlierPosition) {
  start_from(kText, "a");
  EXPECT_TRUE(doc.SavePos("p"));
  ASSERT_TRUE(doc.FindChildElem("b"));
  EXPECT_TRUE(doc.SavePos("p"));
  doc.ResetPos();
  EXPECT_TRUE(doc.RestorePos("p"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<b><z>3</z></b>");
}

TEST_F(XmlSavedPosTest, NamesAreToldApartByteByByte) {
  start_inside(kText, "a");
  EXPECT_TRUE(doc.SavePos("p"));
  ASSERT_TRUE(doc.FindElem("b"));
  EXPECT_TRUE(doc.SavePos("P"));
  ASSERT_TRUE(doc.OutOfElem());
  EXPECT_TRUE(doc.SavePos("\xB2\xE2"));
  EXPECT_TRUE(doc.RestorePos("p"));
  EXPECT_EQ(doc.GetTagName(), "a");
  EXPECT_TRUE(doc.RestorePos("P"));
  EXPECT_EQ(doc.GetTagName(), "b");
  EXPECT_TRUE(doc.RestorePos("\xB2\xE2"));
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_FALSE(doc.RestorePos("\xB2"));
}

TEST_F(XmlSavedPosTest, AnEmptyNameIsANameToo) {
  start_from(kText);
  EXPECT_FALSE(doc.RestorePos(""));
  EXPECT_TRUE(doc.SavePos(""));
  doc.ResetPos();
  EXPECT_TRUE(doc.RestorePos(""));
  EXPECT_EQ(doc.GetTagName(), "r");
}

TEST_F(XmlSavedPosTest, ANameServesAnyNumberOfTimes) {
  start_from(kText, "b");
  EXPECT_TRUE(doc.SavePos("p"));
  for (int i = 0; i < 3; ++i) {
    doc.ResetPos();
    EXPECT_TRUE(doc.RestorePos("p"));
    EXPECT_EQ(doc.GetChildSubDoc(), "<b><z>3</z></b>");
  }
}

TEST_F(XmlSavedPosTest, NoNameAndAnUnknownNameAreRefusedAndThePositionStays) {
  start_from(kText, "a");
  EXPECT_TRUE(doc.SavePos("known"));
  ASSERT_TRUE(doc.FindChildElem("b"));
  const Trace before(doc);
  EXPECT_FALSE(doc.SavePos(nullptr));
  EXPECT_FALSE(doc.RestorePos(nullptr));
  EXPECT_FALSE(doc.RestorePos("unknown"));
  EXPECT_FALSE(doc.RestorePos("know"));
  EXPECT_FALSE(doc.RestorePos("known2"));
  EXPECT_EQ(Trace(doc), before);
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

TEST_F(XmlSavedPosTest, AnEmptyDocumentHasAPositionToSave) {
  EXPECT_TRUE(doc.SavePos("start"));
  ASSERT_TRUE(doc.AddElem("r"));
  EXPECT_TRUE(doc.RestorePos("start"));
  EXPECT_EQ(doc.GetTagName(), "");
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "r");
}

TEST_F(XmlSavedPosTest, EditsBeforeAndBehindASavedElementLeaveTheNameOnIt) {
  start_from(kText, "b");
  EXPECT_TRUE(doc.SavePos("b"));
  doc.ResetChildPos();
  ASSERT_TRUE(doc.FindChildElem("a"));
  EXPECT_TRUE(doc.SetChildAttrib("n", "123"));
  EXPECT_TRUE(doc.InsertChildElem("first", "data"));
  EXPECT_TRUE(doc.FindChildElem("a"));
  EXPECT_TRUE(doc.RemoveChildElem());
  doc.ResetChildPos();
  EXPECT_TRUE(doc.AddChildElem("last"));
  EXPECT_TRUE(doc.RestorePos("b"));
  EXPECT_EQ(doc.GetChildSubDoc(), "<b><z>3</z></b>");
  EXPECT_TRUE(doc.SetChildAttrib("m", 1));
  expect_text("<r><first>data</first>\r\n<b m=\"1\"><z>3</z></b><last/>\r\n</r>");
}

/// Everything that can be asked of a document whose position may lie anywhere.
void read_all(const xml_support::EditDocument& doc) {
  doc.GetTagName();
  doc.GetChildData();
  doc.GetSubDoc();
  doc.GetChildSubDoc();
  doc.GetAttrib("n");
  doc.GetChildAttrib("n");
  doc.GetAttribName(0);
}

TEST_F(XmlSavedPosTest, ANameWhoseElementsAreGoneDoesNoHarm) {
  for (int edit = 0; edit < 12; ++edit) {
    start_inside(kText, "b");
    ASSERT_TRUE(doc.FindChildElem());
    ASSERT_TRUE(doc.SavePos("gone"));
    ASSERT_TRUE(doc.OutOfElem());
    ASSERT_TRUE(doc.RemoveElem()) << "the whole document";
    EXPECT_EQ(doc.GetDoc(), "");
    EXPECT_TRUE(doc.RestorePos("gone")) << "only a new text forgets a name";
    read_all(doc);
    switch (edit) {
      case 0:
        doc.SetAttrib("n", "1");
        break;
      case 1:
        doc.SetChildAttrib("n", "1");
        break;
      case 2:
        doc.SetData("data");
        break;
      case 3:
        doc.SetChildData("data", 1);
        break;
      case 4:
        doc.RemoveElem();
        break;
      case 5:
        doc.RemoveChildElem();
        break;
      case 6:
        doc.AddElem("n");
        break;
      case 7:
        doc.AddChildElem("n");
        break;
      case 8:
        doc.InsertElem("n");
        break;
      case 9:
        doc.InsertChildElem("n");
        break;
      case 10:
        doc.AddSubDoc("<n/>");
        break;
      default:
        doc.InsertChildSubDoc("<n/>");
        break;
    }
    EXPECT_EQ(walk(doc), xml_support::walk_of_fresh_parse(doc.GetDoc())) << edit << ": " << doc.GetDoc();
    read_all(doc);
    for (int i = 0; i < 5 && doc.OutOfElem(); ++i) read_all(doc);
    while (doc.FindElem()) read_all(doc);
  }
}

TEST_F(XmlSavedPosTest, ANameOnARemovedChildLeavesItsSiblingsWhole) {
  start_from(kText, "b");
  ASSERT_TRUE(doc.SavePos("gone"));
  ASSERT_TRUE(doc.RemoveChildElem());
  EXPECT_TRUE(doc.RestorePos("gone"));
  read_all(doc);
  doc.RemoveChildElem();
  doc.SetChildData("data");
  EXPECT_EQ(walk(doc), xml_support::walk_of_fresh_parse(doc.GetDoc())) << doc.GetDoc();
}

TEST_F(XmlSavedPosTest, ANameOnAnIndexThatTheDocumentNeverHadDoesNoHarm) {
  ASSERT_TRUE(doc.AddElem("r"));
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(doc.AddChildElem("n", i));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.AddChildElem("last"));
  ASSERT_TRUE(doc.SavePos("far"));
  const XmlDocument small;
  static_cast<XmlDocument&>(doc) = small;
  doc.RestorePos("far");
  read_all(doc);
  EXPECT_FALSE(doc.RemoveElem());
  EXPECT_FALSE(doc.RemoveChildElem());
  EXPECT_FALSE(doc.SetData("x"));
  EXPECT_FALSE(doc.SetAttrib("n", 1));
  doc.FindElem();
  doc.FindChildElem();
  EXPECT_EQ(doc.GetDoc(), "");
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

}  // namespace
