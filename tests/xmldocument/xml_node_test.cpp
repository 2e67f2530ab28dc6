// The parser's and the editor's inner steps, of which a document itself shows only a part: nodes, one element
// in place, shifting.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::child_of;
using xml_support::next_of;
using xml_support::Place;
using xml_support::place_of;
using xml_support::root_of;

// --- Nodes ---

/// What a node at an offset of a text is taken for, and where scanning goes on.
struct Node {
  const char* name;
  const char* text;
  int offset;
  int type;
  int next;
};

// clang-format off
const Node kNodes[] = {
    {"TextEndsBeforeTheNextTag",                 "text<a/>",               0, MNT_TEXT,        4},
    {"TextAndItsBlanksAreOneNode",               "<a> text </a>",          3, MNT_TEXT,        9},
    {"TextEndsAtTheEnd",                         "text",                   0, MNT_TEXT,        4},
    {"BlanksBeforeATagAreNotPassed",             " \t\r\n<a/>",            0, MNT_WHITESPACE,  0},
    {"BlanksBeforeTheEndAreNotPassed",           "<a/>\r\n",               4, MNT_WHITESPACE,  4},
    {"AtTheEndThereIsNone",                      "<a/>",                   4, 0,               4},
    {"AnEmptyTextHasNone",                       "",                       0, 0,               0},
    {"AnInstructionEndsBehindItsQuestionMark",   "<a/><?x > ?>",           4, MNT_PROCESSING_INSTRUCTION, 12},
    {"AnInstructionsMarkMayBeItsEnd",            "<?><a/>",                0, MNT_PROCESSING_INSTRUCTION, 3},
    {"ASectionEndsBehindItsTwoBrackets",         "<![CDATA[a]>b]]>c",      0, MNT_CDATA_SECTION, 16},
    {"ACommentEndsBehindItsTwoDashes",           "<!-- a -> b --><c/>",    0, MNT_COMMENT,    15},
    {"ACommentsDashesMayBeItsEnd",               "<!--><a/>",              0, MNT_COMMENT,     5},
    {"ACommentOfThreeDashes",                    "<!---><a/>",             0, MNT_COMMENT,     6},
    {"ADocumentType",                            "<!DOCTYPE a><a/>",       0, MNT_DOCUMENT_TYPE, 12},
    {"ADocumentTypeEndsOutsideItsBrackets",      "<!DOCTYPE a [<!ENTITY b \"]>\">]><a/>", 0, MNT_DOCUMENT_TYPE, 31},
    {"AnElementIsNotPassed",                     "text<a/>",               4, MNT_ELEMENT,     4},
    {"AnEndTagIsNone",                           "</a>",                   0, 0,               0},
};
// clang-format on

class XmlNodeTest : public xml_support::XmlTest, public testing::WithParamInterface<Node> {};

INSTANTIATE_TEST_SUITE_P(All, XmlNodeTest, testing::ValuesIn(kNodes),
                         [](const auto& row) { return row.param.name; });

TEST_P(XmlNodeTest, IsOfItsTypeAndScanningGoesOnBehindIt) {
  TokenPos token(GetParam().text);
  token.nNext = GetParam().offset;
  EXPECT_EQ(doc.x_ParseNode(token), GetParam().type);
  EXPECT_EQ(token.nL, GetParam().offset);
  EXPECT_EQ(token.nNext, GetParam().next);
}

using XmlStepTest = xml_support::XmlTest;

TEST_F(XmlStepTest, ANodeWithoutItsEndIsNone) {
  for (const char* text : {"<", "<a", "<?", "<!", "</", "<?x", "<?x ? >", "<![CDATA[", "<![CDATA[a] ]>",
                           "<!-- a ->", "<!-- a -", "<!D", "<!DOCTYPE a [ >", "<!DOCTYPE \"a>"}) {
    TokenPos token(text);
    EXPECT_EQ(doc.x_ParseNode(token), 0) << text;
  }
}

// --- One element in place ---

class XmlElementInPlaceTest : public xml_support::XmlTest {
 protected:
  /// A document of an empty root with more text behind it, which is read when a test asks for it.
  int parse_behind_root(const std::string& text) {
    EXPECT_TRUE(parse("<r/>" + text));
    EXPECT_EQ(doc.next_free(), 2);
    doc.x_Elem(0).nEndL = 4;
    return doc.x_ParseElem(0);
  }
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

TEST_F(XmlStepTest, WhatFollowsAnElementMovesAndOfWhatLiesAroundItTheEnds) {
  const struct {
    int element;
    bool after_it;        ///< its children stay as well
    std::set<int> moved;  ///< wholly
    std::set<int> end_moved;
  } rows[] = {{2, false, {3, 4, 5, 6}, {0, 1}},
              {2, true, {4, 5, 6}, {0, 1}},
              {6, false, {}, {0, 1, 5}},
              {6, true, {}, {0, 1, 5}},
              {1, true, {}, {0}}};
  for (const auto& row : rows) {
    ASSERT_TRUE(parse("<r><a><b/></a><c/><d><e>1</e></d></r>"));  // r is 1, a 2, b 3, c 4, d 5, e 6
    std::vector<Place> expected;
    for (int index = 0; index <= 6; ++index) {
      const Place at = place_of(doc, index);
      const int start = row.moved.contains(index) ? 10 : 0;
      const int end = start != 0 || row.end_moved.contains(index) ? 10 : 0;
      expected.push_back({at.start_l + start, at.start_r + start, at.end_l + end, at.end_r + end});
    }
    doc.x_Adjust(row.element, 10, row.after_it);
    std::vector<Place> places;
    for (int index = 0; index <= 6; ++index) places.push_back(place_of(doc, index));
    EXPECT_EQ(places, expected) << "behind " << row.element;
  }
}

}  // namespace
