// Parsing what is not a document: each error text, and heaps of tag pieces that must not break the index.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::Place;
using xml_support::place_of;
using xml_support::root_of;
using xml_support::Visit;
using xml_support::walk;

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n";

class XmlParseErrorTest : public testing::Test {
 protected:
  XmlDocument doc;

  bool parse(const std::string& text) { return doc.SetDoc(text.c_str()); }

  /// The error of a text that must not parse; such a text is kept, and has no elements.
  std::string error_of(const std::string& text) {
    EXPECT_FALSE(parse(text)) << text;
    EXPECT_FALSE(doc.IsWellFormed()) << text;
    EXPECT_EQ(doc.GetDoc(), text);
    EXPECT_EQ(place_of(doc, 0), Place{}) << text;
    EXPECT_EQ(root_of(doc), 0) << text;
    EXPECT_FALSE(doc.FindElem()) << text;
    return doc.m_strError;
  }
};

// --- The error texts ---

TEST_F(XmlParseErrorTest, ATextWithoutATagHasNoElementTag) {
  EXPECT_EQ(error_of("text"), "Element tag not found");
  EXPECT_EQ(error_of(" "), "Element tag not found");
  EXPECT_EQ(error_of(kHeader), "Element tag not found");
  EXPECT_EQ(error_of("<!-- only -->"), "Element tag not found");
}

TEST_F(XmlParseErrorTest, AnElementThatIsNeverClosedHasNoElementTagToFind) {
  EXPECT_EQ(error_of("<a>"), "Element tag not found");
  EXPECT_EQ(error_of("<a>text"), "Element tag not found");
  EXPECT_EQ(error_of("<a><b></b>"), "Element tag not found");
  EXPECT_EQ(error_of("<a><b/>"), "Element tag not found");
}

TEST_F(XmlParseErrorTest, ATagOfNothingEndsAbruptly) {
  EXPECT_EQ(error_of("<"), "Abrupt end within tag");
  EXPECT_EQ(error_of("< \t\r\n"), "Abrupt end within tag");
  EXPECT_EQ(error_of("<a><"), "Abrupt end within tag");
}

TEST_F(XmlParseErrorTest, ATagMustNotStartWithAQuote) {
  EXPECT_EQ(error_of("<\"a\">"), "Tag starts with quote");
  EXPECT_EQ(error_of("<'a'>"), "Tag starts with quote");
  EXPECT_EQ(error_of("< \"a"), "Tag starts with quote");
  EXPECT_EQ(error_of("<a><'/a'></a>"), "Tag starts with quote");
}

TEST_F(XmlParseErrorTest, ANodeThatDoesNotEndIsInvalid) {
  for (const char* node : {"<?", "<!", "<?x", "<?xml > <a/>", "<!-", "<!-- <a/> --", "<![", "<![CDATA[<a/>]]",
                           "<!DOCTYPE", "<!DOCTYPE a [ > <b/>", "<!DOCTYPE a \"><b/>"}) {
    EXPECT_EQ(error_of(node), "Invalid node") << node;
    EXPECT_EQ(error_of(std::string("<a>") + node), "Invalid node") << node;
  }
}

TEST_F(XmlParseErrorTest, AStartTagNeedsItsRightBracket) {
  EXPECT_EQ(error_of("<a"), "End of tag not found");
  EXPECT_EQ(error_of("<a x=\"1\" /"), "End of tag not found");
  EXPECT_EQ(error_of("<a><b</a"), "End of tag not found");
  EXPECT_EQ(error_of("<>"), "End of tag not found");
}

TEST_F(XmlParseErrorTest, AnEndTagOfAnotherElementDoesNotCorrespond) {
  EXPECT_EQ(error_of("<a></b>"), "End tag does not correspond to a");
  EXPECT_EQ(error_of("<a></ab>"), "End tag does not correspond to a");
  EXPECT_EQ(error_of("<ab></a>"), "End tag does not correspond to ab");
  EXPECT_EQ(error_of("<a></A>"), "End tag does not correspond to a");
}

TEST_F(XmlParseErrorTest, AnElementClosedByItsParentsEndTagIsNamedInTheError) {
  EXPECT_EQ(error_of("<a><b></a>"), "End tag does not correspond to b");
}

TEST_F(XmlParseErrorTest, AnEndTagWithoutANameDoesNotCorrespond) {
  EXPECT_EQ(error_of("<a></>"), "End tag does not correspond to a");
  EXPECT_EQ(error_of("<a></ >"), "End tag does not correspond to a");
}

TEST_F(XmlParseErrorTest, AnEndTagThatTheTextCutsShortIsNotCompleted) {
  EXPECT_EQ(error_of("<a></"), "End tag not completed for element a");
  EXPECT_EQ(error_of("<a></ "), "End tag not completed for element a");
  EXPECT_EQ(error_of("<a></a"), "End tag not completed for element a");
  EXPECT_EQ(error_of("<a></a \r\n"), "End tag not completed for element a");
  EXPECT_EQ(error_of("<a></a \"x>"), "End tag not completed for element a");
  EXPECT_EQ(error_of("<a><b></b"), "End tag not completed for element b");
}

TEST_F(XmlParseErrorTest, ATagNameInAnErrorTextMayBeOfAnyLength) {
  const std::string name(100000, 'n');
  EXPECT_EQ(error_of("<" + name + "></x>"), "End tag does not correspond to " + name);
  EXPECT_EQ(error_of("<" + name + "></"), "End tag not completed for element " + name);
}

TEST_F(XmlParseErrorTest, PercentSignsOfATagNameAreNotAFormat) {
  EXPECT_EQ(error_of("<%s%n></x>"), "End tag does not correspond to %s%n");
}

TEST_F(XmlParseErrorTest, ABlankBeforeAQuestionOrExclamationMarkIsInvalidAndDoesNotHoldTheParserForEver) {
  for (const char* text : {"< ?x?><a/>", "< !-- x --><a/>", "<a>< ?x?></a>", "< ?", "<\t!"}) {
    EXPECT_EQ(error_of(text), "Invalid node") << text;
  }
}

TEST_F(XmlParseErrorTest, AnEndTagAtTheTopIsNotADocumentButHasNoErrorText) {
  EXPECT_EQ(error_of("</a>"), "");
  EXPECT_EQ(error_of("text</a><b/>"), "");
}

TEST_F(XmlParseErrorTest, AnEndTagAtTheTopForgetsTheErrorOfTheTextBefore) {
  EXPECT_EQ(error_of("<a><b></a>"), "End tag does not correspond to b");
  EXPECT_EQ(error_of("</a>"), "");
}

TEST_F(XmlParseErrorTest, AnEmptyTextForgetsTheErrorOfTheTextBefore) {
  for (const char* nothing : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(error_of("<a"), "End of tag not found");
    EXPECT_FALSE(doc.SetDoc(nothing));
    EXPECT_EQ(doc.m_strError, "");
  }
}

// --- Any bytes at all ---

TEST_F(XmlParseErrorTest, NoHeapOfTagPiecesBreaksTheIndex) {
  const std::vector<std::string> pieces = {"<",    ">",  "/",   "a",    "b",         " ",    "\"",   "'",
                                           "=",    "?",  "!",   "[",    "]",         "-",    "<!--", "-->",
                                           "<?",   "?>", "<a>", "</a>", "<![CDATA[", "]]>",  "<a/>", "<b>",
                                           "</b>", "<a", "</",  "/>",   "\xB2\xE2",  "&lt;", "&#",   "\\"};
  std::mt19937 random(36001);
  int well_formed = 0;
  for (int round = 0; round < 30000; ++round) {
    std::string text = "<a>";
    for (std::size_t left = random() % 16; left > 0; --left) text += pieces[random() % pieces.size()];
    text += "</a>";
    if (!parse(text)) continue;
    ++well_formed;
    int last_start = -1;
    for (const Visit& visit : walk(doc)) {
      const Place& at = visit.place;
      const auto byte = [&text](int offset) { return text.at(static_cast<std::size_t>(offset)); };
      ASSERT_LT(last_start, at.start_l) << text;
      ASSERT_LT(at.start_l, at.start_r) << text;
      ASSERT_EQ(byte(at.start_l), '<') << text;
      ASSERT_EQ(byte(at.start_r), '>') << text;
      ASSERT_EQ(byte(at.end_l), at.end_r == at.start_r ? '/' : '<') << text;
      ASSERT_EQ(byte(at.end_r), '>') << text;
      last_start = at.start_l;
    }
  }
  EXPECT_GT(well_formed, 1000);
}

}  // namespace
