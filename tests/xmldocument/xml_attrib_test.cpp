// Attributes: reading, naming, setting and adding them, and what is not found.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_support.h"

namespace {

using xml_support::kGbkText;
using xml_support::Trace;

using Names = std::vector<std::string>;

class XmlAttribTest : public xml_support::XmlTest {
 protected:
  std::string attrib_of(const std::string& text, const char* name) {
    start_from(text);
    return doc.GetAttrib(name);
  }
  std::vector<std::string> names_of(const std::string& text) {
    start_from(text);
    std::vector<std::string> names;
    for (int n = 0; !doc.GetAttribName(n).empty(); ++n) names.push_back(doc.GetAttribName(n));
    return names;
  }
};

// --- Reading ---

struct Reading {
  const char* text;
  const char* attribute;
  std::string value;
};

// clang-format off
const Reading kReadings[] = {
    {"<r a=\"1\" b='two'/>", "b", "two"},
    {"<r a=\"\" b='' c=\"3\"/>", "b", ""},
    {"<r a=\"\" b='' c=\"3\"/>", "c", "3"},
    {"<r a=\"1\"/>", "b", ""},
    {"<r a=\"1\">b=\"2\"</r>", "b", ""},  // behind the start tag there are no attributes
    {"<r><a b=\"1\"/></r>", "b", ""},
    {"<r\r\n\ta \t=\r\n \"1\"\n/>", "a", "1"},
    {"<r ab=\"1\" a=\"2\" abc=\"3\"/>", "a", "2"},
    {"<r ab=\"1\" a=\"2\" abc=\"3\"/>", "ab", "1"},
    {"<r ab=\"1\" a=\"2\" abc=\"3\"/>", "A", ""},  // case counts
    {"<r =\"1\"/>", "r", ""},                       // the tag's name is no attribute
    {"<r r=\"2\"/>", "r", "2"},
    {"<r a=\"b\" b=\"2\"/>", "b", "2"},             // and no value is a name
    {"<r a=\"it's\" b='say \"x\"'/>", "a", "it's"},
    {"<r a=\"it's\" b='say \"x\"'/>", "b", "say \"x\""},
    {"<r a=\"&lt;&amp;&gt;&apos;&quot;&#65;&#x42;&foo;\"/>", "a", "<&>'\"AB&foo;"},
    {"<r a=\"/dev/x\" b=\"?\" c=\"=\" d=\"4\"/>", "a", "/dev/x"},
    {"<r a=\"/dev/x\" b=\"?\" c=\"=\" d=\"4\"/>", "c", "="},
    {"<r a=\"/dev/x\" b=\"?\" c=\"=\" d=\"4\"/>", "d", "4"},
    {"<r a=1 a=\"2\"/>", "a", ""},                  // of two of that name the first counts
    {"<r a=\"1\" a=\"2\"/>", "a", "1"},
    {"<r a \"1\"/>", "a", ""},                      // the value is the second token behind the name
    {"<r a b \"1\"/>", "a", "1"},
    {"<r a b=\"1\"/>", "a", ""},
    {"<r a=\"1\" ? b=\"2\"/>", "b", ""},            // a question mark ends the tag
    {"<r a=\"x></r>", "a", "x></r>"},              // without its quotation mark it ends with the text
    {"<r a='></r>\r\n", "a", "></r>\r\n"},
    {"<r a=\"x b='2'></r>", "b", ""},
};
// clang-format on

TEST_F(XmlAttribTest, AValueIsReadFromBetweenItsQuotationMarks) {
  for (const auto& [text, attribute, value] : kReadings) {
    EXPECT_EQ(attrib_of(text, attribute), value) << attribute << " of " << text;
  }
}

TEST_F(XmlAttribTest, ANameMayCarryTrailingTextAfterOneOfFourCharacters) {
  start_from("<r a=\"1\"/>");
  for (const char* name : {"a b", "a=\"7\"", "a/x", "a[1]"}) EXPECT_EQ(doc.GetAttrib(name), "1") << name;
  EXPECT_EQ(doc.GetAttrib("a.b"), "");
}

TEST_F(XmlAttribTest, AValueWithoutQuotationMarksIsNotFound) {
  EXPECT_EQ(attrib_of("<r a=1/>", "a"), "");
  EXPECT_EQ(attrib_of("<r a=1 b=\"2\"/>", "a"), "");
  EXPECT_EQ(doc.GetAttrib("b"), "2") << "the next attribute is";
}

TEST_F(XmlAttribTest, ANameThatIsNoneIsNoAttribute) {
  start_from("<r a=\"1\" b=\"2\"><c d=\"3\"/></r>", "c");
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(doc.GetAttrib(name), "");
    EXPECT_EQ(doc.GetChildAttrib(name), "");
  }
}

// --- Names ---

TEST_F(XmlAttribTest, NamesAreCountedFromZero) {
  EXPECT_EQ(names_of("<r a=\"1\" bc = '2' d=\"\">text=\"x\"</r>"), (Names{"a", "bc", "d"}));
  for (const int none : {3, 99, INT_MAX, -1, INT_MIN}) EXPECT_EQ(doc.GetAttribName(none), "") << none;
  EXPECT_EQ(names_of("<r a=\"x b='2'></r>"), (Names{"a"}))
      << "behind a missing quotation mark there are none";
  EXPECT_EQ(names_of("<r><c a=\"1\"/></r>"), Names{});
}

TEST_F(XmlAttribTest, AValueWithoutQuotationMarksCountsAsANameAndHidesTheOneBehindIt) {
  // The search for the next name takes the first token behind the last one for an equals sign.
  EXPECT_EQ(names_of("<r a=x b=\"1\"/>"), (Names{"a", "x"}));
  EXPECT_EQ(names_of("<r a=x b=\"1\" c=\"2\"/>"), (Names{"a", "x", "c"}));
  EXPECT_EQ(names_of("<r a b c=\"1\"/>"), (Names{"a", "c"}));
}

TEST_F(XmlAttribTest, WithoutANameTheFirstAttributesNameIsWhatIsFound) {
  start_from("<r a=\"1\" b=\"2\"/>");
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    TokenPos token("r a=\"1\" b=\"2\"/>");
    ASSERT_TRUE(doc.x_FindAttrib(token, name));
    EXPECT_EQ(token.nL, 2);
    EXPECT_EQ(token.nR, 2);
  }
}

// --- Setting ---

TEST_F(XmlAttribTest, AValueIsReplacedBetweenItsOwnMarksAndANewAttributeGoesBeforeTheEndOfTheTag) {
  start_from("<r a='1' ><c/>text</r>\r\n", "c");
  EXPECT_TRUE(doc.SetAttrib("a", "<>&'\""));
  EXPECT_TRUE(doc.SetAttrib("b", kGbkText.c_str()));
  EXPECT_TRUE(doc.SetChildAttrib("n", 7));
  expect_text("<r a='&lt;&gt;&amp;&apos;&quot;'  b=\"" + kGbkText + "\"><c n=\"7\"/>text</r>\r\n");
  EXPECT_EQ(doc.GetAttrib("a"), "<>&'\"");
  EXPECT_EQ(doc.GetAttrib("b"), kGbkText);
  EXPECT_EQ(doc.GetChildAttrib("n"), "7");
}

TEST_F(XmlAttribTest, SettingAValueWithoutQuotationMarksAddsASecondAttributeOfThatName) {
  start_from("<r a=1>x</r>");
  EXPECT_TRUE(doc.SetAttrib("a", "2"));
  expect_text("<r a=1 a=\"2\">x</r>");
  EXPECT_EQ(doc.GetAttrib("a"), "") << "the first one hides it";
  EXPECT_TRUE(doc.SetAttrib("a", "3"));
  expect_text("<r a=1 a=\"2\" a=\"3\">x</r>");
}

TEST_F(XmlAttribTest, ANameWithTrailingTextChangesTheAttributeThatItMatches) {
  start_from("<r a=\"1\"/>");
  EXPECT_TRUE(doc.SetAttrib("a=\"7\"", "2"));
  expect_text("<r a=\"2\"/>");
}

TEST_F(XmlAttribTest, AnAttributeWithoutANameIsRefused) {
  start_from("<r a=\"1\"><c b=\"2\"/></r>", "c");
  const Trace before(doc);
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_FALSE(doc.SetAttrib(name, "x"));
    EXPECT_FALSE(doc.SetAttrib(name, 1));
    EXPECT_FALSE(doc.SetChildAttrib(name, "x"));
    EXPECT_FALSE(doc.SetChildAttrib(name, 1));
  }
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlAttribTest, NoValueIsAnEmptyValue) {
  start_from("<r a=\"1\"/>");
  EXPECT_TRUE(doc.SetAttrib("a", nullptr));
  EXPECT_TRUE(doc.SetAttrib("b", nullptr));
  expect_text("<r a=\"\" b=\"\"/>");
}

TEST_F(XmlAttribTest, AValueThatReachesBeyondItsTagIsNotSet) {
  for (const char* text : {"<r a=\">\">x</r>", "<r a=\"x></r>", "<r a='><c/></r>"}) {
    start_from(text);
    EXPECT_FALSE(doc.SetAttrib("a", "1")) << "the tag ends at the first bracket";
    expect_text(text);
  }
}

TEST_F(XmlAttribTest, ANewAttributeGoesBeforeABracketInQuotesThatEndsTheTag) {
  start_from("<r a=\">\">x</r>");
  EXPECT_TRUE(doc.SetAttrib("b", "2"));
  expect_text("<r a=\" b=\"2\">\">x</r>");
  EXPECT_EQ(doc.GetAttrib("a"), " b=") << "the other value is lost";
  EXPECT_EQ(doc.GetAttrib("b"), "") << "and the new one is not found";
}

}  // namespace
