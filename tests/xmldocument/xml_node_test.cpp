// The parser's and the editor's inner steps: nodes, one element in place, shifting, escaping for attributes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::child_of;
using xml_support::next_of;
using xml_support::OpenDocument;
using xml_support::Place;
using xml_support::place_of;
using xml_support::root_of;

class XmlNodeTest : public testing::Test {
 protected:
  /// What a node at that offset of a text is taken for, and where scanning goes on.
  struct Node {
    int type = 0;
    int starts = 0;
    int next = 0;
    bool operator==(const Node&) const = default;
  };
  friend void PrintTo(const Node& node, std::ostream* out) {
    *out << "type " << node.type << " from " << node.starts << ", next " << node.next;
  }

  Node node_of(const std::string& text, int offset = 0) {
    doc.SetDoc(text.c_str());
    TokenPos token(text.c_str());
    token.nNext = offset;
    const int type = doc.x_ParseNode(token);
    return {type, token.nL, token.nNext};
  }
  int type_of(const std::string& text) { return node_of(text).type; }

  OpenDocument doc;
};

// --- Nodes ---

TEST_F(XmlNodeTest, TextEndsBeforeTheNextTagOrAtTheEnd) {
  EXPECT_EQ(node_of("text<a/>"), (Node{MNT_TEXT, 0, 4}));
  EXPECT_EQ(node_of("<a> text </a>", 3), (Node{MNT_TEXT, 3, 9}));
  EXPECT_EQ(node_of("text"), (Node{MNT_TEXT, 0, 4}));
}

TEST_F(XmlNodeTest, BlanksBeforeATagOrTheEndAreWhitespaceAndAreNotPassed) {
  EXPECT_EQ(node_of(" \t\r\n<a/>"), (Node{MNT_WHITESPACE, 0, 0}));
  EXPECT_EQ(node_of("<a/>\r\n", 4), (Node{MNT_WHITESPACE, 4, 4}));
}

TEST_F(XmlNodeTest, AtTheEndOfTheTextThereIsNoNode) {
  EXPECT_EQ(node_of("<a/>", 4), (Node{0, 4, 4}));
  EXPECT_EQ(node_of(""), (Node{0, 0, 0}));
}

TEST_F(XmlNodeTest, AProcessingInstructionEndsBehindItsQuestionMark) {
  EXPECT_EQ(node_of("<?xml version=\"1.0\"?><a/>"), (Node{MNT_PROCESSING_INSTRUCTION, 0, 21}));
  EXPECT_EQ(node_of("<a/><?x > ?>", 4), (Node{MNT_PROCESSING_INSTRUCTION, 4, 12}));
}

TEST_F(XmlNodeTest, ACdataSectionEndsBehindItsTwoSquareBrackets) {
  EXPECT_EQ(node_of("<![CDATA[a]>b]]>c"), (Node{MNT_CDATA_SECTION, 0, 16}));
}

TEST_F(XmlNodeTest, ACommentEndsBehindItsTwoDashes) {
  EXPECT_EQ(node_of("<!-- a -> b --><c/>"), (Node{MNT_COMMENT, 0, 15}));
}

TEST_F(XmlNodeTest, ADocumentTypeEndsOutsideItsSquareBrackets) {
  EXPECT_EQ(node_of("<!DOCTYPE a><a/>"), (Node{MNT_DOCUMENT_TYPE, 0, 12}));
  EXPECT_EQ(node_of("<!DOCTYPE a [<!ENTITY b \"]>\">]><a/>"), (Node{MNT_DOCUMENT_TYPE, 0, 31}));
}

TEST_F(XmlNodeTest, AnElementIsNotPassed) {
  EXPECT_EQ(node_of("<a>text</a>"), (Node{MNT_ELEMENT, 0, 0}));
  EXPECT_EQ(node_of("text<a/>", 4), (Node{MNT_ELEMENT, 4, 4}));
}

TEST_F(XmlNodeTest, AnEndTagIsNoNode) {
  EXPECT_EQ(node_of("</a>"), (Node{0, 0, 0}));
}

TEST_F(XmlNodeTest, ALeftBracketWithLessThanTwoCharactersBehindItIsNoNode) {
  for (const char* text : {"<", "<a", "<?", "<!", "</"}) EXPECT_EQ(type_of(text), 0) << text;
}

TEST_F(XmlNodeTest, ANodeWithoutItsEndIsNoNode) {
  for (const char* text : {"<?x", "<?x ? >", "<![CDATA[", "<![CDATA[a] ]>", "<!-- a ->", "<!-- a -", "<!D",
                           "<!DOCTYPE a [ >", "<!DOCTYPE \"a>"}) {
    EXPECT_EQ(type_of(text), 0) << text;
  }
}

TEST_F(XmlNodeTest, ANodeMayUseTheCharactersOfItsBeginningForItsEnd) {
  EXPECT_EQ(node_of("<?><a/>"), (Node{MNT_PROCESSING_INSTRUCTION, 0, 3}));
  EXPECT_EQ(node_of("<!--><a/>"), (Node{MNT_COMMENT, 0, 5}));
  EXPECT_EQ(node_of("<!---><a/>"), (Node{MNT_COMMENT, 0, 6}));
}

TEST_F(XmlNodeTest, TheNodesWithTheShortestEndsArePassedOverBeforeTheRoot) {
  for (const char* node : {"<?>", "<!-->", "<!--->"}) {
    EXPECT_TRUE(doc.SetDoc((std::string(node) + "<a/>").c_str())) << node;
  }
}

// --- One element in place ---

class XmlElementInPlaceTest : public testing::Test {
 protected:
  /// A document of an empty root with more text behind it, which is read when a test asks for it.
  int parse_behind_root(const std::string& text) {
    EXPECT_TRUE(doc.SetDoc(("<r/>" + text).c_str()));
    EXPECT_EQ(doc.next_free(), 2);
    doc.x_Elem(0).nEndL = 4;
    return doc.x_ParseElem(0);
  }

  OpenDocument doc;
};

TEST_F(XmlElementInPlaceTest, AnElementIsReadFromTheEndOfItsParentsContent) {
  EXPECT_EQ(parse_behind_root(" <a><b/></a><c/>"), 2);
  EXPECT_EQ(place_of(doc, 2), (Place{5, 7, 12, 15}));
  EXPECT_EQ(child_of(doc, 2), 3);
  EXPECT_EQ(next_of(doc, 2), 0) << "one element is read, not its sibling";
  EXPECT_EQ(root_of(doc), 1) << "the one who reads it links it";
  EXPECT_EQ(doc.next_free(), 4);
  EXPECT_EQ(doc.m_strError, "");
}

TEST_F(XmlElementInPlaceTest, AnEndTagIsTheParentsEndAndGivesTheEntryBack) {
  EXPECT_EQ(parse_behind_root("text</a>"), 0);
  EXPECT_EQ(doc.x_Elem(0).nEndL, 8) << "where the parent's content ends";
  EXPECT_EQ(doc.next_free(), 2);
  EXPECT_EQ(doc.m_strError, "");
}

TEST_F(XmlElementInPlaceTest, AnErrorIsSaidAndGivesTheLastEntryBack) {
  struct Row {
    const char* text;
    const char* error;
    int next_free;
  };
  for (const Row& row : std::vector<Row>{
           {"text", "Element tag not found", 2},
           {"<", "Abrupt end within tag", 2},
           {"<'a'>", "Tag starts with quote", 2},
           {"<!--", "Invalid node", 2},
           {"<a", "End of tag not found", 2},
           {"<a></b>", "End tag does not correspond to a", 2},
           {"<a></a", "End tag not completed for element a", 2},
           {"<a>", "Element tag not found", 3},
           {"<a><b></a>", "End tag does not correspond to b", 3},
           {"<a><b/><c", "End of tag not found", 4},
       }) {
    EXPECT_EQ(parse_behind_root(row.text), -1) << row.text;
    EXPECT_EQ(doc.m_strError, row.error) << row.text;
    EXPECT_EQ(doc.next_free(), row.next_free) << row.text;
    EXPECT_EQ(root_of(doc), 1) << row.text;
  }
}

// --- Shifting ---

class XmlAdjustTest : public testing::Test {
 protected:
  void SetUp() override { parse(); }
  void parse() {
    before.clear();
    ASSERT_TRUE(doc.SetDoc("<r><a><b/></a><c/><d><e>1</e></d></r>"));
    for (int index = 0; index <= 6; ++index) before.push_back(place_of(doc, index));
  }
  Place unmoved(int index) const { return before.at(static_cast<std::size_t>(index)); }
  Place moved(int index) const {
    const Place place = unmoved(index);
    return {place.start_l + 10, place.start_r + 10, place.end_l + 10, place.end_r + 10};
  }
  Place end_moved(int index) const {
    const Place place = unmoved(index);
    return {place.start_l, place.start_r, place.end_l + 10, place.end_r + 10};
  }

  /// Entries: r is 1, a 2, b 3, c 4, d 5, e 6.
  OpenDocument doc;
  std::vector<Place> before;
};

TEST_F(XmlAdjustTest, WhatFollowsAnElementMovesWithItsChildrenAndTheElementStays) {
  doc.x_Adjust(2, 10, false);
  EXPECT_EQ(place_of(doc, 0), end_moved(0));
  EXPECT_EQ(place_of(doc, 1), end_moved(1));
  EXPECT_EQ(place_of(doc, 2), unmoved(2));
  for (const int index : {3, 4, 5, 6}) EXPECT_EQ(place_of(doc, index), moved(index)) << index;
}

TEST_F(XmlAdjustTest, BehindAnElementItsChildrenStayToo) {
  doc.x_Adjust(2, 10, true);
  EXPECT_EQ(place_of(doc, 0), end_moved(0));
  EXPECT_EQ(place_of(doc, 1), end_moved(1));
  for (const int index : {2, 3}) EXPECT_EQ(place_of(doc, index), unmoved(index)) << index;
  for (const int index : {4, 5, 6}) EXPECT_EQ(place_of(doc, index), moved(index)) << index;
}

TEST_F(XmlAdjustTest, BehindTheLastElementOnlyTheEndsAroundItMove) {
  for (const bool after : {false, true}) {
    parse();
    doc.x_Adjust(6, 10, after);
    for (const int index : {0, 1, 5}) EXPECT_EQ(place_of(doc, index), end_moved(index)) << index;
    for (const int index : {2, 3, 4, 6}) EXPECT_EQ(place_of(doc, index), unmoved(index)) << index;
  }
}

TEST_F(XmlAdjustTest, BehindTheRootOnlyTheDocumentsEndMoves) {
  doc.x_Adjust(1, 10, true);
  EXPECT_EQ(place_of(doc, 0), end_moved(0));
  for (const int index : {1, 2, 3, 4, 5, 6}) EXPECT_EQ(place_of(doc, index), unmoved(index)) << index;
}

// --- Escaping for attributes ---

TEST(XmlAttributeTextTest, QuotationMarksAreEscapedInAnAttributeOnly) {
  const char* const text = "a'b\"c<d>e&f";
  EXPECT_EQ(OpenDocument::x_TextToDoc(text, true), "a&apos;b&quot;c&lt;d&gt;e&amp;f");
  EXPECT_EQ(OpenDocument::x_TextToDoc(text, false), "a'b\"c&lt;d&gt;e&amp;f");
}

TEST(XmlAttributeTextTest, WhatIsEscapedForAnAttributeReadsBackPlain) {
  XmlDocument doc;
  const std::string text = "'\"<>&\xB2\xE2";
  ASSERT_TRUE(doc.SetDoc(("<r><a>" + OpenDocument::x_TextToDoc(text.c_str(), true) + "</a></r>").c_str()));
  ASSERT_TRUE(doc.FindChildElem("a"));
  EXPECT_EQ(doc.GetChildData(), text);
}

}  // namespace
