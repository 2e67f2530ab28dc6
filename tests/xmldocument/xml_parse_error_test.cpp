// Parsing what is not a document: each error text, and heaps of tag pieces that must not break the index.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::kHeader;
using xml_support::Place;
using xml_support::place_of;
using xml_support::root_of;
using xml_support::Visit;
using xml_support::walk;

class XmlParseErrorTest : public xml_support::XmlTest {
 protected:
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
  void expect_error(const std::string& error, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) EXPECT_EQ(error_of(text), error) << text;
  }
};

// --- The error texts ---

TEST_F(XmlParseErrorTest, ATextWithoutATagHasNoElementTag) {
  expect_error("Element tag not found", {"text", " ", kHeader, "<!-- only -->"});
}

TEST_F(XmlParseErrorTest, AnElementThatIsNeverClosedHasNoElementTagToFind) {
  expect_error("Element tag not found", {"<a>", "<a>text", "<a><b></b>", "<a><b/>"});
}

TEST_F(XmlParseErrorTest, ATagOfNothingEndsAbruptly) {
  expect_error("Abrupt end within tag", {"<", "< \t\r\n", "<a><"});
}

TEST_F(XmlParseErrorTest, ATagMustNotStartWithAQuote) {
  expect_error("Tag starts with quote", {"<\"a\">", "<'a'>", "< \"a", "<a><'/a'></a>"});
}

TEST_F(XmlParseErrorTest, ANodeThatDoesNotEndIsInvalid) {
  for (const char* node : {"<?", "<!", "<?x", "<?xml > <a/>", "<!-", "<!-- <a/> --", "<![", "<![CDATA[<a/>]]",
                           "<!DOCTYPE", "<!DOCTYPE a [ > <b/>", "<!DOCTYPE a \"><b/>"}) {
    EXPECT_EQ(error_of(node), "Invalid node") << node;
    EXPECT_EQ(error_of(std::string("<a>") + node), "Invalid node") << node;
  }
}

TEST_F(XmlParseErrorTest, AStartTagNeedsItsRightBracket) {
  expect_error("End of tag not found", {"<a", "<a x=\"1\" /", "<a><b</a", "<>"});
}

TEST_F(XmlParseErrorTest, AnEndTagOfAnotherElementOrOfNoneDoesNotCorrespond) {
  expect_error("End tag does not correspond to a",
               {"<a></b>", "<a></ab>", "<a></A>", "<a></>", "<a></ >", "< a></>"});
  expect_error("End tag does not correspond to ab", {"<ab></a>"});
  expect_error("End tag does not correspond to b", {"<a><b></a>"});
}

TEST_F(XmlParseErrorTest, AnEndTagThatTheTextCutsShortIsNotCompleted) {
  expect_error("End tag not completed for element a",
               {"<a></", "<a></ ", "<a></a", "<a></a \r\n", "<a></a \"x>", "<a b=\"></a b=\">"});
  expect_error("End tag not completed for element b", {"<a><b></b"});
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
  expect_error("Invalid node", {"< ?x?><a/>", "< !-- x --><a/>", "<a>< ?x?></a>", "< ?", "<\t!"});
}

TEST_F(XmlParseErrorTest, AnEndTagAtTheTopIsNotADocumentButHasNoErrorText) {
  expect_error("", {"</a>", "text</a><b/>"});
}

TEST_F(XmlParseErrorTest, EveryOtherTextForgetsTheErrorOfTheTextBefore) {
  for (const char* next : {"", static_cast<const char*>(nullptr), "</a>", "<a></a>"}) {
    EXPECT_EQ(error_of("<a"), "End of tag not found");
    doc.SetDoc(next);
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
