// Removing elements: what goes with them, and where the position is afterwards.
#include <gtest/gtest.h>

#include <string>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::child_of;
using xml_support::next_of;
using xml_support::root_of;

using XmlRemoveTest = xml_support::XmlTest;

const std::string kThree = "<r>\r\n<a>1</a>\r\n<b>2</b>\r\n<c>3</c>\r\n</r>\r\n";

TEST_F(XmlRemoveTest, AnElementGoesWithItsChildrenAndTheWhitespaceUpToTheNextTag) {
  const struct {
    const char* text;
    const char* behind;
  } rows[] = {{"<r><a/></r>", "<r></r>"},
              {"<r> <a x=\"1\">text<b><a/></b><!-- <d> --></a> \t\r\n\n  <b/></r>", "<r> <b/></r>"},
              {"<r><a/>\r\n<!-- note --><b/></r>", "<r><!-- note --><b/></r>"},
              {"<r><a/>\r\n text<b/></r>", "<r>\r\n text<b/></r>"},
              {"<r><a/>text<b/></r>", "<r>text<b/></r>"}};
  for (const auto& [text, behind] : rows) {
    start_from(text, "a");
    EXPECT_TRUE(doc.RemoveChildElem());
    expect_text(behind);
    EXPECT_EQ(doc.GetTagName(), "r");
    EXPECT_EQ(doc.GetChildSubDoc(), "");
    EXPECT_FALSE(doc.RemoveChildElem());
  }
}

TEST_F(XmlRemoveTest, ARootLeavesWhatStandsAroundItAndCanBeAddedAnew) {
  start_from("<?xml version=\"1.0\"?>\r\n<r><a/></r>\r\ntail", "a");
  EXPECT_TRUE(doc.RemoveElem());
  EXPECT_EQ(doc.GetDoc(), "<?xml version=\"1.0\"?>\r\n\r\ntail");
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_FALSE(doc.RemoveElem());
  EXPECT_FALSE(doc.OutOfElem());
  EXPECT_FALSE(doc.FindElem());
  ASSERT_TRUE(doc.AddElem("s"));
  expect_text("<?xml version=\"1.0\"?>\r\n\r\ntail<s/>\r\n");
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

}  // namespace
