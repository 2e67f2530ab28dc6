// The text of elements: escaping on the way in, entities, numeric references and CDATA on the way out.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using namespace std::string_literals;

/// What a document says of an element with that content, as it stands between the tags.
std::string read(const std::string& content) {
  XmlDocument doc;
  EXPECT_TRUE(doc.SetDoc(("<r><d>" + content + "</d></r>").c_str())) << content;
  EXPECT_TRUE(doc.FindChildElem("d")) << content;
  return doc.GetChildData();
}

/// What stands between the tags of an element that was added with that data.
std::string stored(const std::string& data) {
  XmlDocument doc;
  EXPECT_TRUE(doc.AddElem("d", data.c_str()));
  const std::string text = doc.GetDoc();
  const std::string tail = "</d>\r\n";
  EXPECT_EQ(text.substr(0, 3), "<d>");
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
  return text.substr(3, text.size() - 3 - tail.size());
}

using Reading = std::vector<std::pair<std::string, std::string>>;

/// What stands between the tags, and what it is read as.
void expect_read(const Reading& rows) {
  for (const auto& [content, data] : rows) EXPECT_EQ(read(content), data) << content;
}

/// No part of these stands for another character.
void expect_read_as_it_stands(const std::vector<std::string>& contents) {
  for (const std::string& content : contents) EXPECT_EQ(read(content), content);
}

// --- On the way in ---

TEST(XmlTextTest, AngleBracketsAndAmpersandsAreEscapedAndQuotationMarksAreNot) {
  EXPECT_EQ(stored("<a href=\"b\">&amp;'</a>"), "&lt;a href=\"b\"&gt;&amp;amp;'&lt;/a&gt;");
  EXPECT_EQ(stored(std::string(10000, '&')), xml_support::repeated("&amp;", 10000));
}

TEST(XmlTextTest, EveryOtherByteIsStoredAndReadAsItIs) {
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == '<' || byte == '>' || byte == '&') continue;
    const std::string data(1, static_cast<char>(byte));
    EXPECT_EQ(stored(data), data) << byte;
    EXPECT_EQ(read(data), data) << byte;
  }
  EXPECT_EQ(read(">"), ">");
  EXPECT_EQ(stored(xml_support::kGbkText), xml_support::kGbkText);
  EXPECT_EQ(read(xml_support::kGbkText), xml_support::kGbkText);
}

TEST(XmlTextTest, WhateverIsStoredIsReadBack) {
  for (const char* data : {"&", "<", ">", "&&", "x>", "&lt;", "&amp;amp;", "&#65;", "<![CDATA[x]]>", "]]>",
                           " a ", "\r\n", "a<b>c</b>&", "\"'"}) {
    XmlDocument doc;
    ASSERT_TRUE(doc.AddElem("r"));
    ASSERT_TRUE(doc.AddChildElem("d", data));
    EXPECT_EQ(doc.GetChildData(), data);
    EXPECT_EQ(read(stored(data)), data);
  }
}

// --- Entities ---

TEST(XmlTextTest, TheFiveEntitiesAreRead) {
  expect_read({{"&lt;", "<"}, {"&amp;", "&"}, {"&gt;", ">"}, {"&apos;", "'"}, {"&quot;", "\""}});
  expect_read({{"a&lt;b&amp;c&gt;d&apos;e&quot;f", "a<b&c>d'e\"f"}, {"&&lt;", "&<"}});
}

TEST(XmlTextTest, AnEntityIsReadOnce) {
  expect_read({{"&amp;lt;&amp;#65;", "&lt;&#65;"}, {"&#38;lt;", "&lt;"}});
}

TEST(XmlTextTest, WhatIsNoWholeEntityReadsAsItStands) {
  expect_read_as_it_stands({"&foo;", "&nbsp;", "&LT;", "&;", "& lt;"});
  expect_read_as_it_stands({"&lt", "&amp b", "&quo", "&ltx;"});
  expect_read_as_it_stands({"&", "a&", "&&"});
  expect_read_as_it_stands(
      {"&l", "&a", "&am", "&amp", "&g", "&gt", "&ap", "&apo", "&apos", "&q", "&qu", "&quot"});
}

// --- Numeric references ---

TEST(XmlTextTest, AReferenceBelow128IsOneByte) {
  expect_read({{"&#65;", "A"}, {"x&#38;y", "x&y"}, {"&#1;", "\x01"}, {"&#127;", "\x7F"}});
  expect_read({{"a&#0;b", "a\0b"s}, {"&&#65;", "&A"}, {"&#65;&#66;c&#x44;;", "ABcD;"}});
}

TEST(XmlTextTest, AReferenceBelow2048IsTwoBytesOfUtf8) {
  expect_read({{"&#128;", "\xC2\x80"}, {"&#xFF;", "\xC3\xBF"}, {"&#2047;", "\xDF\xBF"}});
}

TEST(XmlTextTest, AReferenceFrom2048OnIsThreeBytesOfUtf8AlthoughDocumentsAreGbk) {
  expect_read({{"&#2048;", "\xE0\xA0\x80"}, {"&#20013;", "\xE4\xB8\xAD"}, {"&#65535;", "\xEF\xBF\xBF"}});
}

TEST(XmlTextTest, AHexadecimalReferenceIsReadInEitherCaseOfItsDigits) {
  expect_read({{"&#x41;", "A"}, {"&#x4e2d;", "\xE4\xB8\xAD"}, {"&#x4E2D;", "\xE4\xB8\xAD"}});
}

TEST(XmlTextTest, OfALargerReferenceOnlyTheLow16BitsAreUsed) {
  expect_read({{"&#x1F600;", "\xEF\x98\x80"}, {"&#65536;", "\xE0\x80\x80"}, {"&#x10041;", "\xE0\x81\x81"}});
}

TEST(XmlTextTest, TheSemicolonOfAReferenceIsLookedForInSevenCharacters) {
  expect_read({{"&#000065;", "A"}, {"&#x00041;", "A"}});
  expect_read_as_it_stands({"&#0000065;", "&#x0000041;"});
}

TEST(XmlTextTest, AReferenceWithoutItsSemicolonReadsAsItStands) {
  expect_read_as_it_stands({"&#65 is a letter", "&#x4E2D is a character", "&# and nothing"});
  expect_read_as_it_stands({"&#", "&#x", "&#6", "&#65", "&#x4E2D"});
}

// --- CDATA and other content ---

TEST(XmlTextTest, CdataIsReadVerbatimAndWhatFollowsItIsNotRead) {
  expect_read({{"<![CDATA[a<b>&lt;&#65;</d>]]>", "a<b>&lt;&#65;</d>"}, {"<![CDATA[]]>", ""}});
  expect_read({{"<![CDATA[]]]]>", "]]"}, {"<![CDATA[a]]>b<![CDATA[c]]>", "a"}});
}

TEST(XmlTextTest, CdataBehindOtherTextIsOrdinaryText) {
  expect_read({{" <![CDATA[&lt;]]>", " <![CDATA[<]]>"}, {"<![cdata[&lt;]]>", "<![cdata[<]]>"}});
}

TEST(XmlTextTest, CommentsBlanksAndLineEndsAreReadAsTheyStand) {
  expect_read_as_it_stands({"<!-- c -->x", " \t\r\n x \r\n"});
}

TEST(XmlTextTest, AnElementWithoutContentOrWithChildrenHasNoData) {
  expect_read({{"", ""}, {"text<x>1</x>text", ""}});
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc("<r><d/><e x=\"1\" /></r>"));
  EXPECT_EQ(doc.GetChildData(), "");
  ASSERT_TRUE(doc.FindChildElem("d"));
  EXPECT_EQ(doc.GetChildData(), "");
  ASSERT_TRUE(doc.FindChildElem("e"));
  EXPECT_EQ(doc.GetChildData(), "");
}

TEST(XmlTextTest, DataBehindAQuotedRightBracketBeginsInsideTheQuotes) {
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc("<r><d x=\"1>2\">t</d></r>"));
  ASSERT_TRUE(doc.FindChildElem("d"));
  EXPECT_EQ(doc.GetChildData(), "2\">t");
}

}  // namespace
