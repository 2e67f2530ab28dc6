// Removing elements: what goes with them, and where the position is afterwards.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_edit_support.h"

namespace {

using xml_support::child_of;
using xml_support::entry;
using xml_support::kGbkText;
using xml_support::next_of;
using xml_support::root_of;
using xml_support::Trace;
using xml_support::walk;

using XmlRemoveTest = xml_support::XmlEditTest;

const std::string kThree = "<r>\r\n<a>1</a>\r\n<b>2</b>\r\n<c>3</c>\r\n</r>\r\n";

// --- The text ---

TEST_F(XmlRemoveTest, AnElementGoesWithItsLineEnd) {
  start_from(kThree, "b");
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r>\r\n<a>1</a>\r\n<c>3</c>\r\n</r>\r\n");
}

TEST_F(XmlRemoveTest, TheLastChildGoesWithTheLineEndBeforeTheEndTag) {
  start_from(kThree, "c");
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r>\r\n<a>1</a>\r\n<b>2</b>\r\n</r>\r\n");
}

TEST_F(XmlRemoveTest, AllWhitespaceUpToTheNextTagGoes) {
  start_from("<r> <a/> \t\r\n\n  <b/></r>", "a");
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r> <b/></r>");
}

TEST_F(XmlRemoveTest, WhitespaceBeforeAnotherNodeGoesToo) {
  start_from("<r><a/>\r\n<!-- note --><b/></r>", "a");
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r><!-- note --><b/></r>");
}

TEST_F(XmlRemoveTest, WhitespaceBeforeTextStays) {
  start_from("<r><a/>\r\n text<b/></r>", "a");
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r>\r\n text<b/></r>");
}

TEST_F(XmlRemoveTest, WithoutWhitespaceBehindItOnlyTheElementGoes) {
  start_from("<r><a/>text<b/><c/></r>", "a");
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r>text<b/><c/></r>");
  ASSERT_TRUE(doc.FindChildElem("b"));
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r>text<c/></r>");
}

TEST_F(XmlRemoveTest, AnElementGoesWithItsChildrenAndItsText) {
  start_from("<r><a x=\"1\">" + kGbkText + "<b><c>1</c></b><!-- <d> --></a>\r\n<e/></r>", "a");
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r><e/></r>");
}

TEST_F(XmlRemoveTest, TheOnlyChildLeavesAnEmptyContent) {
  start_from("<r><a/></r>", "a");
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r></r>");
  EXPECT_EQ(child_of(doc, root_of(doc)), 0);
}

TEST_F(XmlRemoveTest, TheRootLeavesWhatStoodBeforeIt) {
  start_from("<?xml version=\"1.0\"?>\r\n<r><a/></r>\r\n");
  EXPECT_TRUE(doc.RemoveElem());
  expect_text("<?xml version=\"1.0\"?>\r\n");
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_FALSE(doc.FindElem());
}

TEST_F(XmlRemoveTest, ADocumentThatIsItsRootAloneBecomesEmpty) {
  start_from("<r/> \r\n");
  EXPECT_TRUE(doc.RemoveElem());
  expect_text("");
  EXPECT_FALSE(doc.IsWellFormed());
}

TEST_F(XmlRemoveTest, ARootThatWasRemovedCanBeAddedAnew) {
  start_from("<?xml version=\"1.0\"?>\r\n<r/>\r\n");
  ASSERT_TRUE(doc.RemoveElem());
  ASSERT_TRUE(doc.AddElem("s"));
  ASSERT_TRUE(doc.AddChildElem("a", 1));
  expect_text("<?xml version=\"1.0\"?>\r\n<s>\r\n<a>1</a>\r\n</s>\r\n");
}

TEST_F(XmlRemoveTest, TextBehindTheRootStays) {
  start_from("<r/>\r\ntail");
  ASSERT_TRUE(doc.RemoveElem());
  EXPECT_EQ(doc.GetDoc(), "\r\ntail");
  EXPECT_TRUE(walk(doc).empty());
}

TEST_F(XmlRemoveTest, AnElementBehindTheRootStaysInTheTextAndIsNotADocument) {
  start_from("<a/><b/>");
  ASSERT_TRUE(doc.RemoveElem());
  EXPECT_EQ(doc.GetDoc(), "<b/>");
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_FALSE(doc.FindElem()) << "only the first root was ever indexed";
  EXPECT_TRUE(doc.AddElem("c"));
  EXPECT_EQ(doc.GetDoc(), "<b/><c/>\r\n");
  EXPECT_EQ(doc.GetTagName(), "c");
  EXPECT_TRUE(doc.AddChildElem("d")) << "it is edited where it stands";
  EXPECT_EQ(doc.GetDoc(), "<b/><c>\r\n<d/>\r\n</c>\r\n");
  ASSERT_TRUE(doc.SetDoc(doc.GetDoc().c_str()));
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "b") << "parsed anew, the first is the root again";
}

// --- The position ---

TEST_F(XmlRemoveTest, RemovingTheFirstOfThreeSiblingsLeavesNoMainElement) {
  start_inside(kThree, "a");
  EXPECT_TRUE(doc.RemoveElem());
  expect_text("<r>\r\n<b>2</b>\r\n<c>3</c>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_FALSE(doc.RemoveElem()) << "there is nothing to remove";
  EXPECT_FALSE(doc.AddChildElem("x"));
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "b") << "the first that remains";
}

TEST_F(XmlRemoveTest, RemovingASiblingInTheMiddleGoesBackToTheOneBefore) {
  start_inside(kThree, "b");
  EXPECT_TRUE(doc.RemoveElem());
  expect_text("<r>\r\n<a>1</a>\r\n<c>3</c>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetTagName(), "a");
  ASSERT_TRUE(doc.FindElem());
  EXPECT_EQ(doc.GetTagName(), "c");
  EXPECT_TRUE(doc.OutOfElem()) << "the level is the same";
  EXPECT_EQ(doc.GetTagName(), "r");
}

TEST_F(XmlRemoveTest, RemovingTheLastSiblingGoesBackToTheOneBefore) {
  start_inside(kThree, "c");
  EXPECT_TRUE(doc.RemoveElem());
  EXPECT_EQ(doc.GetTagName(), "b");
  EXPECT_TRUE(doc.RemoveElem());
  EXPECT_EQ(doc.GetTagName(), "a");
  EXPECT_TRUE(doc.RemoveElem());
  EXPECT_EQ(doc.GetTagName(), "");
  expect_text("<r>\r\n</r>\r\n");
}

TEST_F(XmlRemoveTest, RemovingTheMainElementLeavesNoCurrentChild) {
  start_inside("<r><a><x>1</x></a><b><y>2</y></b></r>", "b");
  ASSERT_TRUE(doc.FindChildElem());
  ASSERT_EQ(doc.GetChildData(), "2");
  EXPECT_TRUE(doc.RemoveElem());
  EXPECT_EQ(doc.GetTagName(), "a");
  EXPECT_EQ(doc.GetChildData(), "");
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildData(), "1");
}

TEST_F(XmlRemoveTest, RemovingAChildKeepsTheMainElement) {
  start_from(kThree, "b");
  EXPECT_TRUE(doc.RemoveChildElem());
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_EQ(doc.GetChildData(), "1") << "the child before is current";
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildData(), "3");
}

TEST_F(XmlRemoveTest, RemovingTheFirstChildLeavesNoCurrentChild) {
  start_from(kThree, "a");
  EXPECT_TRUE(doc.RemoveChildElem());
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_EQ(doc.GetChildSubDoc(), "");
  EXPECT_FALSE(doc.RemoveChildElem());
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildData(), "2");
}

TEST_F(XmlRemoveTest, RemovingTheRootLeavesThePositionAtTheDocument) {
  start_from("<r><a/></r>", "a");
  EXPECT_TRUE(doc.RemoveElem());
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_FALSE(doc.OutOfElem());
  EXPECT_FALSE(doc.IntoElem());
  EXPECT_EQ(doc.GetChildSubDoc(), "");
}

// --- The index ---

TEST_F(XmlRemoveTest, ThePreviousSiblingsIndexIsReturnedAndZeroForTheFirst) {
  start_from(kThree);
  const int first = child_of(doc, root_of(doc));
  const int second = next_of(doc, first);
  EXPECT_EQ(doc.x_RemoveElem(second), first);
  EXPECT_EQ(doc.x_RemoveElem(first), 0);
  expect_text("<r>\r\n<c>3</c>\r\n</r>\r\n");
}

TEST_F(XmlRemoveTest, TheIndexOfARemovedElementIsNotUsedAgain) {
  start_from(kThree, "b");
  const int free_before = doc.next_free();
  ASSERT_TRUE(doc.RemoveChildElem());
  EXPECT_EQ(doc.next_free(), free_before);
  ASSERT_TRUE(doc.AddChildElem("x"));
  EXPECT_EQ(doc.next_free(), free_before + 1);
  EXPECT_EQ(next_of(doc, child_of(doc, root_of(doc))), free_before) << "the new one took a new index";
  doc.SetDoc(doc.GetDoc().c_str());
  EXPECT_EQ(doc.next_free(), 5) << "until the text is parsed anew";
}

TEST_F(XmlRemoveTest, EverythingBehindMovesBack) {
  start_from("<r><a><b>1</b></a>\r\n<c><d/><e>2</e></c><f/></r>\r\n", "a");
  ASSERT_TRUE(doc.RemoveChildElem());
  expect_text("<r><c><d/><e>2</e></c><f/></r>\r\n");
  EXPECT_EQ(entry(doc, root_of(doc)).nStartL, 0);
  ASSERT_TRUE(doc.FindChildElem("f"));
  EXPECT_TRUE(doc.SetChildData("3")) << "the next edit finds its place";
  expect_text("<r><c><d/><e>2</e></c><f>3</f></r>\r\n");
}

TEST_F(XmlRemoveTest, TheLastOfADeepNestMovesAllItsAncestors) {
  start_inside("<r><a><b><c/>\r\n</b>\r\n</a>\r\n<z/></r>", "a");
  ASSERT_TRUE(doc.FindChildElem("b"));
  ASSERT_TRUE(doc.IntoElem());
  ASSERT_TRUE(doc.FindChildElem("c"));
  EXPECT_TRUE(doc.RemoveChildElem());
  expect_text("<r><a><b></b>\r\n</a>\r\n<z/></r>");
}

// --- What is refused ---

TEST_F(XmlRemoveTest, WithoutAPositionNothingIsRemoved) {
  ASSERT_TRUE(doc.SetDoc(kThree.c_str()));
  const Trace before(doc);
  EXPECT_FALSE(doc.RemoveElem());
  EXPECT_FALSE(doc.RemoveChildElem());
  EXPECT_EQ(Trace(doc), before);
  ASSERT_TRUE(doc.FindElem());
  EXPECT_FALSE(doc.RemoveChildElem()) << "no child is current";
  expect_text(kThree);
  EXPECT_EQ(doc.GetTagName(), "r");
}

TEST_F(XmlRemoveTest, NothingIsRemovedFromAnEmptyDocument) {
  EXPECT_FALSE(doc.RemoveElem());
  EXPECT_FALSE(doc.RemoveChildElem());
  EXPECT_EQ(doc.GetDoc(), "");
}

}  // namespace
