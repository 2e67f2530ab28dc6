// The text of elements: escaping on the way in, entities, numeric references and CDATA on the way out.
#include <gtest/gtest.h>

#include <string>

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

// --- On the way in ---

TEST(XmlTextTest, AngleBracketsAndAmpersandsAreEscaped) {
  EXPECT_EQ(stored("<"), "&lt;");
  EXPECT_EQ(stored(">"), "&gt;");
  EXPECT_EQ(stored("&"), "&amp;");
  EXPECT_EQ(stored("<a href=\"b\">&amp;</a>"), "&lt;a href=\"b\"&gt;&amp;amp;&lt;/a&gt;");
}

TEST(XmlTextTest, DataWithALeftBracketAndAnAmpersandIsStoredEscapedAndReadBackPlain) {
  XmlDocument doc;
  ASSERT_TRUE(doc.AddElem("r"));
  ASSERT_TRUE(doc.AddChildElem("d", "a<b&c"));
  EXPECT_EQ(doc.GetDoc(), "<r>\r\n<d>a&lt;b&amp;c</d>\r\n</r>\r\n");
  EXPECT_EQ(doc.GetChildData(), "a<b&c");
}

TEST(XmlTextTest, QuotationMarksStayLiteralInElementText) {
  EXPECT_EQ(stored("\"it's\""), "\"it's\"");
}

TEST(XmlTextTest, EveryOtherByteIsStoredAsItIs) {
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == '<' || byte == '>' || byte == '&') continue;
    const std::string data(1, static_cast<char>(byte));
    EXPECT_EQ(stored(data), data) << byte;
  }
}

TEST(XmlTextTest, EveryOtherByteIsReadAsItIs) {
  for (int byte = 1; byte < 256; ++byte) {
    if (byte == '<' || byte == '&') continue;
    const std::string data(1, static_cast<char>(byte));
    EXPECT_EQ(read(data), data) << byte;
  }
}

TEST(XmlTextTest, GbkTextPassesUnchangedInBothDirections) {
  const std::string result_of_test = "\xB2\xE2\xCA\xD4\xBD\xE1\xB9\xFB";
  EXPECT_EQ(stored(result_of_test), result_of_test);
  EXPECT_EQ(read(result_of_test), result_of_test);
  // Second bytes of GBK characters may be a backslash, a square bracket or a bar.
  const std::string odd = "\x81\x5C\x81\x5B\x81\x5D\x81\x7C\x81\x40\xFE\xA0";
  EXPECT_EQ(stored(odd), odd);
  EXPECT_EQ(read(odd), odd);
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

TEST(XmlTextTest, LongDataOfAmpersandsGrowsFivefold) {
  EXPECT_EQ(stored(std::string(10000, '&')), xml_support::repeated("&amp;", 10000));
}

// --- Entities ---

TEST(XmlTextTest, TheFiveEntitiesAreRead) {
  EXPECT_EQ(read("&lt;"), "<");
  EXPECT_EQ(read("&amp;"), "&");
  EXPECT_EQ(read("&gt;"), ">");
  EXPECT_EQ(read("&apos;"), "'");
  EXPECT_EQ(read("&quot;"), "\"");
  EXPECT_EQ(read("a&lt;b&amp;c&gt;d&apos;e&quot;f"), "a<b&c>d'e\"f");
}

TEST(XmlTextTest, AnEntityIsReadOnce) {
  EXPECT_EQ(read("&amp;lt;&amp;#65;"), "&lt;&#65;");
}

TEST(XmlTextTest, AnUnknownEntityReadsAsItStands) {
  EXPECT_EQ(read("&foo;"), "&foo;");
  EXPECT_EQ(read("&nbsp;"), "&nbsp;");
  EXPECT_EQ(read("&LT;"), "&LT;");
  EXPECT_EQ(read("&;"), "&;");
  EXPECT_EQ(read("& lt;"), "& lt;");
}

TEST(XmlTextTest, AnEntityWithoutItsSemicolonReadsAsItStands) {
  EXPECT_EQ(read("&lt"), "&lt");
  EXPECT_EQ(read("&amp b"), "&amp b");
  EXPECT_EQ(read("&quo"), "&quo");
  EXPECT_EQ(read("&ltx;"), "&ltx;");
}

TEST(XmlTextTest, AnAmpersandAtTheVeryEndReadsAsItStands) {
  EXPECT_EQ(read("&"), "&");
  EXPECT_EQ(read("a&"), "a&");
  EXPECT_EQ(read("&&"), "&&");
}

TEST(XmlTextTest, AnAmpersandMayStandBeforeAnEntity) {
  EXPECT_EQ(read("&&lt;"), "&<");
  EXPECT_EQ(read("&&#65;"), "&A");
}

TEST(XmlTextTest, AnEntityThatTheEndOfTheElementCutsOffReadsAsItStands) {
  for (const char* content : {"&l", "&lt", "&a", "&am", "&amp", "&g", "&gt", "&ap", "&apo", "&apos", "&q",
                              "&qu", "&quo", "&quot"}) {
    EXPECT_EQ(read(content), content);
  }
}

// --- Numeric references ---

TEST(XmlTextTest, ADecimalReferenceBelow128IsOneByte) {
  EXPECT_EQ(read("&#65;"), "A");
  EXPECT_EQ(read("x&#38;y"), "x&y");
  EXPECT_EQ(read("&#1;"), "\x01");
  EXPECT_EQ(read("&#127;"), "\x7F");
}

TEST(XmlTextTest, AHexadecimalReferenceIsReadInEitherCaseOfItsDigits) {
  EXPECT_EQ(read("&#x41;"), "A");
  EXPECT_EQ(read("&#x4e2d;"), "\xE4\xB8\xAD");
  EXPECT_EQ(read("&#x4E2D;"), "\xE4\xB8\xAD");
}

TEST(XmlTextTest, AReferenceBelow2048IsTwoBytesOfUtf8) {
  EXPECT_EQ(read("&#128;"), "\xC2\x80");
  EXPECT_EQ(read("&#xFF;"), "\xC3\xBF");
  EXPECT_EQ(read("&#2047;"), "\xDF\xBF");
}

TEST(XmlTextTest, AReferenceFrom2048OnIsThreeBytesOfUtf8AlthoughDocumentsAreGbk) {
  EXPECT_EQ(read("&#2048;"), "\xE0\xA0\x80");
  EXPECT_EQ(read("&#20013;"), "\xE4\xB8\xAD");
  EXPECT_EQ(read("&#x4E2D;"), "\xE4\xB8\xAD");
  EXPECT_EQ(read("&#65535;"), "\xEF\xBF\xBF");
}

TEST(XmlTextTest, OfALargerReferenceOnlyTheLow16BitsAreUsed) {
  EXPECT_EQ(read("&#x1F600;"), "\xEF\x98\x80");
  EXPECT_EQ(read("&#65536;"), "\xE0\x80\x80");
  EXPECT_EQ(read("&#x10041;"), "\xE0\x81\x81");
}

TEST(XmlTextTest, ReadingGoesOnBehindTheSemicolonOfAReference) {
  EXPECT_EQ(read("&#65;&#66;c&#x44;;"), "ABcD;");
  EXPECT_EQ(read("&#38;lt;"), "&lt;");
}

TEST(XmlTextTest, TheSemicolonOfAReferenceIsLookedForInSevenCharacters) {
  EXPECT_EQ(read("&#000065;"), "A");
  EXPECT_EQ(read("&#0000065;"), "&#0000065;");
  EXPECT_EQ(read("&#x00041;"), "A");
  EXPECT_EQ(read("&#x0000041;"), "&#x0000041;");
}

TEST(XmlTextTest, AReferenceWithoutItsSemicolonReadsAsItStands) {
  EXPECT_EQ(read("&#65 is a letter"), "&#65 is a letter");
  EXPECT_EQ(read("&#x4E2D is a character"), "&#x4E2D is a character");
  EXPECT_EQ(read("&# and nothing"), "&# and nothing");
}

TEST(XmlTextTest, AReferenceThatTheEndOfTheElementCutsOffReadsAsItStands) {
  for (const char* content : {"&#", "&#x", "&#6", "&#65", "&#x4E2D"}) EXPECT_EQ(read(content), content);
}

TEST(XmlTextTest, AReferenceToZeroIsOneZeroByte) {
  EXPECT_EQ(read("a&#0;b"), "a\0b"s);
}

// --- CDATA and other content ---

TEST(XmlTextTest, CdataIsReadVerbatim) {
  EXPECT_EQ(read("<![CDATA[a<b>&lt;&#65;</d>]]>"), "a<b>&lt;&#65;</d>");
  EXPECT_EQ(read("<![CDATA[]]>"), "");
  EXPECT_EQ(read("<![CDATA[]]]]>"), "]]");
}

TEST(XmlTextTest, WhatFollowsACdataSectionIsNotRead) {
  EXPECT_EQ(read("<![CDATA[a]]>b<![CDATA[c]]>"), "a");
}

TEST(XmlTextTest, CdataBehindOtherTextIsOrdinaryText) {
  EXPECT_EQ(read(" <![CDATA[&lt;]]>"), " <![CDATA[<]]>");
  EXPECT_EQ(read("<![cdata[&lt;]]>"), "<![cdata[<]]>");
}

TEST(XmlTextTest, ACommentIsReadAsItStands) {
  EXPECT_EQ(read("<!-- c -->x"), "<!-- c -->x");
}

TEST(XmlTextTest, BlanksAndLineEndsAreKept) {
  EXPECT_EQ(read(" \t\r\n x \r\n"), " \t\r\n x \r\n");
}

TEST(XmlTextTest, AnElementWithoutContentHasNoData) {
  EXPECT_EQ(read(""), "");
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc("<r><d/><e x=\"1\" /></r>"));
  EXPECT_EQ(doc.GetChildData(), "");
  ASSERT_TRUE(doc.FindChildElem("d"));
  EXPECT_EQ(doc.GetChildData(), "");
  ASSERT_TRUE(doc.FindChildElem("e"));
  EXPECT_EQ(doc.GetChildData(), "");
}

TEST(XmlTextTest, AnElementWithChildrenHasNoData) {
  EXPECT_EQ(read("text<x>1</x>text"), "");
}

TEST(XmlTextTest, DataBehindAQuotedRightBracketBeginsInsideTheQuotes) {
  XmlDocument doc;
  ASSERT_TRUE(doc.SetDoc("<r><d x=\"1>2\">t</d></r>"));
  ASSERT_TRUE(doc.FindChildElem("d"));
  EXPECT_EQ(doc.GetChildData(), "2\">t");
}

}  // namespace
