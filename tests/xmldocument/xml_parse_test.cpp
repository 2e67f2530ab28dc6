// Parsing: what counts as a document, where its elements stand, what is passed over, and a document's life.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::child_of;
using xml_support::entry;
using xml_support::kHeader;
using xml_support::next_of;
using xml_support::Place;
using xml_support::place_of;
using xml_support::root_of;
using xml_support::Visit;
using xml_support::walk;

class XmlParseTest : public xml_support::XmlTest {
 protected:
  /// The root's tag name of a text that must parse.
  std::string root_name(const std::string& text) {
    EXPECT_TRUE(parse(text)) << text << ": " << doc.m_strError;
    EXPECT_TRUE(doc.FindElem());
    return doc.GetTagName();
  }
  Place place_in(const std::string& text) {
    EXPECT_TRUE(parse(text)) << text << ": " << doc.m_strError;
    return root_place();
  }
};

// --- Where elements stand ---

TEST_F(XmlParseTest, AnElementStandsAtItsFourOffsets) {
  EXPECT_EQ(place_in("<a>text</a>"), (Place{0, 2, 7, 10}));
  EXPECT_TRUE(doc.IsWellFormed());
  EXPECT_EQ(doc.m_strError, "");
  EXPECT_EQ(place_in("<a></a>"), (Place{0, 2, 3, 6})) << "an element of nothing is not an empty one";
  EXPECT_FALSE(entry(doc, root_of(doc)).IsEmptyElement());
  EXPECT_EQ(place_in("<a x=\"1\" y='2'>t</a>"), (Place{0, 14, 16, 19})) << "with its attributes";
  EXPECT_EQ(place_in(kHeader + "<a>1</a>\r\n"), (Place{38, 40, 42, 45})) << "behind the header";
}

TEST_F(XmlParseTest, AnEmptyElementEndsAtTheSlashOfItsStartTag) {
  EXPECT_EQ(place_in("<a/>"), (Place{0, 3, 2, 3}));
  EXPECT_TRUE(entry(doc, root_of(doc)).IsEmptyElement());
  EXPECT_EQ(place_in("<a />"), (Place{0, 4, 3, 4}));
  EXPECT_EQ(place_in("<a/ ></a>"), (Place{0, 4, 5, 8})) << "not with a blank behind the slash";
}

TEST_F(XmlParseTest, NestedElementsAreLinkedInDocumentOrder) {
  ASSERT_TRUE(parse("<r>\r\n<a>1</a>\r\n<b x='2'/><c><d/></c></r>"));
  ASSERT_EQ(root_of(doc), 1);
  EXPECT_EQ(child_of(doc, 1), 2);
  EXPECT_EQ(next_of(doc, 2), 3);
  EXPECT_EQ(next_of(doc, 3), 4);
  EXPECT_EQ(next_of(doc, 4), 0);
  EXPECT_EQ(child_of(doc, 4), 5);
  EXPECT_EQ(next_of(doc, 1), 0);
  EXPECT_EQ(walk(doc), (std::vector<Visit>{{0, {0, 2, 36, 39}},
                                           {1, {5, 7, 9, 12}},
                                           {1, {15, 24, 23, 24}},
                                           {1, {25, 27, 32, 35}},
                                           {2, {28, 31, 30, 31}}}));
}

// --- Tags ---

TEST_F(XmlParseTest, AStartTagEndsAtTheFirstRightBracketEvenInsideQuotes) {
  EXPECT_EQ(place_in("<a x=\"1>2\">t</a>"), (Place{0, 7, 12, 15}));
  EXPECT_EQ(place_in("<a x=\"/>\"></b>"), (Place{0, 7, 6, 7})) << "with a slash before it, it is empty";
}

TEST_F(XmlParseTest, BlanksMayFollowTheLeftBracketOfATag) {
  EXPECT_EQ(root_name("< \t\r\na>< /a>"), "a");
  EXPECT_EQ(root_place(), (Place{0, 6, 7, 11}));
}

TEST_F(XmlParseTest, OnlySpaceTabAndLineEndsAreBlanks) {
  EXPECT_EQ(root_name("<\fa></\fa>"), "\fa");
  EXPECT_EQ(root_name("<\va></\va>"), "\va");
}

TEST_F(XmlParseTest, ATagNameEndsAtEachDelimiter) {
  for (const char* tag :
       {"<a b>", "<a\tb>", "<a\nb>", "<a\rb>", "<a<b>", "<a=b>", "<a\\b>", "<a/b>", "<a?b>", "<a!b>"}) {
    EXPECT_EQ(root_name(std::string(tag) + "</a>"), "a") << tag;
  }
}

TEST_F(XmlParseTest, AQuotationMarkInsideAWordDoesNotEndIt) {
  EXPECT_EQ(root_name("<a\"b'c></a\"b'c>"), "a\"b'c");
}

TEST_F(XmlParseTest, ADelimiterThatStandsFirstIsATagNameOfOneCharacter) {
  EXPECT_EQ(root_name("<=></=>"), "=");
  EXPECT_EQ(root_name("<\\a></\\>"), "\\");
  EXPECT_EQ(root_name("<<a></<>"), "<");
}

TEST_F(XmlParseTest, ATagWithoutANameIsNamedByItsOwnRightBracketAndEndsAtTheNextOne) {
  EXPECT_EQ(root_name("<>/>"), ">");
  EXPECT_EQ(root_place(), (Place{0, 3, 2, 3}));
  EXPECT_FALSE(parse("<>x></x>"));
  EXPECT_EQ(doc.m_strError, "End tag does not correspond to >");
}

TEST_F(XmlParseTest, AGbkTagNameIsCutAtABackslashInsideACharacter) {
  EXPECT_EQ(root_name("<\x81\x5C></\x81\x5C>"), "\x81");
}

// --- End tags ---

TEST_F(XmlParseTest, InAnEndTagBlanksAndWordsBehindTheNameAreIgnored) {
  EXPECT_EQ(place_in("<a>< / a\r\n></a>"), (Place{0, 2, 3, 10}));
  EXPECT_EQ(place_in("<a></a b = c>"), (Place{0, 2, 3, 12}));
  EXPECT_EQ(place_in("<a></a \">\">"), (Place{0, 2, 3, 10})) << "a quoted right bracket does not end it";
}

TEST_F(XmlParseTest, AQuotedWordInAnEndTagIsCountedButNotChecked) {
  ASSERT_TRUE(parse("<a></\"b\">"));
  EXPECT_EQ(root_place(), (Place{0, 2, 3, 8}));
  EXPECT_TRUE(parse("<a></'b' b>"));
  EXPECT_TRUE(parse("<a></\"\">"));
}

TEST_F(XmlParseTest, AnEndTagMayNameJustThePartBeforeASquareBracket) {
  EXPECT_EQ(root_name("<a[1]></a>"), "a[1]");
  EXPECT_FALSE(parse("<a></a[1]>"));
}

// --- What is passed over ---

TEST_F(XmlParseTest, WhateverFollowsTheRootIsIgnored) {
  EXPECT_TRUE(parse("<a></a>text"));
  EXPECT_TRUE(parse("<a></a><b/>"));
  EXPECT_EQ(walk(doc).size(), 1U) << "only one top-level element is indexed";
  EXPECT_TRUE(parse("<a></a></b>"));
  EXPECT_TRUE(parse("<a></a><b"));
  EXPECT_TRUE(parse("<a></a><!--"));
  EXPECT_EQ(doc.GetDoc(), "<a></a><!--");
  EXPECT_EQ(doc.m_strError, "");
}

TEST_F(XmlParseTest, TextBeforeTheRootIsPassedOver) {
  ASSERT_TRUE(parse("text > \"<a/>"));
  EXPECT_EQ(root_place(), (Place{8, 11, 10, 11}));
}

TEST_F(XmlParseTest, NodesOutsideTheRootArePassedOver) {
  for (const char* node :
       {"<?xml version=\"1.0\"?>", "<?p <b> > <c> ?>", "<!-- <b> <c> -->", "<!- <b> <c> -->",
        "<![CDATA[ <b> <c> ]]>", "<![ <b> <c> ]]>", "<!DOCTYPE a>", "<!>", "<!\">\">"}) {
    EXPECT_EQ(root_name(std::string(node) + "<a/>"), "a") << node;
    EXPECT_EQ(walk(doc).size(), 1U) << node;
  }
}

TEST_F(XmlParseTest, NodesInsideAnElementAreNotIndexed) {
  for (const char* node : {"<?p <b> > <c> ?>", "<!-- <b> </a> -->", "<![CDATA[<b></a>]]>", "<!X [<b>]>"}) {
    ASSERT_TRUE(parse(std::string("<a>") + node + "<d/>" + node + "</a>")) << node << doc.m_strError;
    const std::vector<Visit> visits = walk(doc);
    ASSERT_EQ(visits.size(), 2U) << node;
    const int length = static_cast<int>(std::string(node).size());
    EXPECT_EQ(visits[0].place, (Place{0, 2, 7 + 2 * length, 10 + 2 * length})) << node;
    EXPECT_EQ(visits[1].place, (Place{3 + length, 6 + length, 5 + length, 6 + length})) << node;
  }
}

TEST_F(XmlParseTest, ADocumentTypeEndsOutsideItsSquareBracketsAndQuotationMarks) {
  for (const char* type : {"<!DOCTYPE x [ <!ELEMENT b [ <c> ] > <d> ] > ", "<!DOCTYPE x '[' \"[\">",
                           "<!DOCTYPE x [ ']' \"]\" <b> ]>", "<!DOCTYPE x \"> <b>\">"}) {
    EXPECT_EQ(root_name(std::string(type) + "<a/>"), "a") << type;
  }
}

// --- The life of a document ---

TEST_F(XmlParseTest, ANewDocumentIsEmptyAndHasNoElementToReadOrEdit) {
  EXPECT_EQ(doc.GetDoc(), "");
  EXPECT_EQ(doc.m_strError, "");
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_EQ(place_of(doc, 0), Place{});
  EXPECT_FALSE(doc.FindElem() || doc.FindChildElem() || doc.IntoElem() || doc.OutOfElem());
  EXPECT_EQ(doc.GetTagName() + doc.GetSubDoc() + doc.GetAttrib("a") + doc.GetAttribName(0), "");
  EXPECT_EQ(doc.GetChildData() + doc.GetChildSubDoc() + doc.GetChildAttrib("a"), "");
  EXPECT_FALSE(doc.SetData("x") || doc.SetAttrib("a", "x") || doc.RemoveElem());
  EXPECT_FALSE(doc.SetChildData("x") || doc.SetChildAttrib("a", "x") || doc.RemoveChildElem());
  EXPECT_FALSE(doc.AddChildElem("a") || doc.InsertChildSubDoc("<a/>"));
  EXPECT_EQ(doc.next_free(), 1);
  expect_text("");
}

TEST_F(XmlParseTest, AnEmptyTextIsNotADocument) {
  EXPECT_FALSE(parse(""));
  EXPECT_FALSE(doc.IsWellFormed());
  EXPECT_EQ(doc.m_strError, "");
}

TEST_F(XmlParseTest, TheTextIsCopied) {
  std::string text = "<a/>";
  ASSERT_TRUE(doc.SetDoc(text.c_str()));
  text[1] = 'b';
  EXPECT_EQ(doc.GetDoc(), "<a/>");
  doc.GetDoc()[1] = 'c';
  EXPECT_EQ(doc.GetDoc(), "<a/>");
}

TEST_F(XmlParseTest, ANewTextReplacesElementsAndPosition) {
  ASSERT_TRUE(parse("<a><b>1</b></a>"));
  ASSERT_TRUE(doc.FindChildElem("b"));
  ASSERT_TRUE(parse("<c><d/></c>"));
  EXPECT_EQ(doc.GetTagName(), "");
  EXPECT_EQ(doc.GetChildData(), "");
  EXPECT_FALSE(doc.IntoElem());
  EXPECT_FALSE(doc.OutOfElem());
  EXPECT_EQ(walk(doc), (std::vector<Visit>{{0, {0, 2, 7, 10}}, {1, {3, 6, 5, 6}}}));
}

TEST_F(XmlParseTest, ABadTextLeavesNothingOfTheDocumentBefore) {
  for (const char* bad : {"<a><b></a>", "", static_cast<const char*>(nullptr)}) {
    start_from("<a><b/></a>");
    EXPECT_FALSE(doc.SetDoc(bad));
    EXPECT_EQ(doc.GetDoc(), bad == nullptr ? "" : bad);
    EXPECT_EQ(root_of(doc), 0);
    EXPECT_EQ(doc.GetTagName(), "");
    EXPECT_FALSE(doc.FindElem());
  }
}

}  // namespace
