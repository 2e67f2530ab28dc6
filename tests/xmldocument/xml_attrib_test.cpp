// Attributes: reading, naming, setting and adding them, and what is not found.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "tests/xmldocument/xml_edit_support.h"

namespace {

using xml_support::kGbkText;
using xml_support::place_of;
using xml_support::root_of;
using xml_support::Trace;

class XmlAttribTest : public xml_support::XmlEditTest {
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

using Names = std::vector<std::string>;

// --- Reading ---

TEST_F(XmlAttribTest, AValueIsReadFromBetweenItsQuotationMarks) {
  EXPECT_EQ(attrib_of("<r a=\"1\" b='two'/>", "a"), "1");
  EXPECT_EQ(doc.GetAttrib("b"), "two");
}

TEST_F(XmlAttribTest, AnAbsentAttributeIsEmpty) {
  EXPECT_EQ(attrib_of("<r a=\"1\"/>", "b"), "");
  EXPECT_EQ(attrib_of("<r a=\"1\">b=\"2\"</r>", "b"), "") << "behind the start tag there are no attributes";
  EXPECT_EQ(attrib_of("<r/>", "a"), "");
  EXPECT_EQ(attrib_of("<r><a b=\"1\"/></r>", "b"), "");
}

TEST_F(XmlAttribTest, AnEmptyValueIsEmptyAndTheNextOneIsStillFound) {
  EXPECT_EQ(attrib_of("<r a=\"\" b='' c=\"3\"/>", "a"), "");
  EXPECT_EQ(doc.GetAttrib("b"), "");
  EXPECT_EQ(doc.GetAttrib("c"), "3");
}

TEST_F(XmlAttribTest, BlanksAroundTheEqualsSignAreAllowed) {
  EXPECT_EQ(attrib_of("<r\r\n\ta \t=\r\n \"1\"\n/>", "a"), "1");
}

TEST_F(XmlAttribTest, ALongerNameIsAnotherAttribute) {
  EXPECT_EQ(attrib_of("<r ab=\"1\" a=\"2\" abc=\"3\"/>", "a"), "2");
  EXPECT_EQ(doc.GetAttrib("ab"), "1");
  EXPECT_EQ(doc.GetAttrib("abc"), "3");
  EXPECT_EQ(doc.GetAttrib("A"), "") << "case counts";
}

TEST_F(XmlAttribTest, TheTagNameIsNoAttribute) {
  EXPECT_EQ(attrib_of("<r =\"1\"/>", "r"), "");
  EXPECT_EQ(attrib_of("<r r=\"2\"/>", "r"), "2");
}

TEST_F(XmlAttribTest, AValueIsNotTakenForAName) {
  EXPECT_EQ(attrib_of("<r a=\"b\" b=\"2\"/>", "b"), "2");
}

TEST_F(XmlAttribTest, TheOtherKindOfQuotationMarkIsPartOfTheValue) {
  EXPECT_EQ(attrib_of("<r a=\"it's\" b='say \"x\"'/>", "a"), "it's");
  EXPECT_EQ(doc.GetAttrib("b"), "say \"x\"");
}

TEST_F(XmlAttribTest, EscapesInAValueAreResolved) {
  EXPECT_EQ(attrib_of("<r a=\"&lt;&amp;&gt;&apos;&quot;&#65;&#x42;&foo;\"/>", "a"), "<&>'\"AB&foo;");
}

TEST_F(XmlAttribTest, GbkBytesInAValuePassUntouched) {
  EXPECT_EQ(attrib_of("<r a=\"" + kGbkText + "\"/>", "a"), kGbkText);
}

TEST_F(XmlAttribTest, AValueMayBeginWithASlashAQuestionMarkOrAnEqualsSign) {
  EXPECT_EQ(attrib_of("<r a=\"/dev/x\" b=\"?\" c=\"=\" d=\"4\"/>", "a"), "/dev/x");
  EXPECT_EQ(doc.GetAttrib("b"), "?");
  EXPECT_EQ(doc.GetAttrib("c"), "=");
  EXPECT_EQ(doc.GetAttrib("d"), "4");
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

TEST_F(XmlAttribTest, BehindANameThatMatchedNoOtherIsLookedFor) {
  EXPECT_EQ(attrib_of("<r a=1 a=\"2\"/>", "a"), "") << "the first of that name has no quoted value";
  EXPECT_EQ(attrib_of("<r a=\"1\" a=\"2\"/>", "a"), "1");
}

TEST_F(XmlAttribTest, TheValueIsTheSecondTokenBehindTheName) {
  EXPECT_EQ(attrib_of("<r a \"1\"/>", "a"), "") << "one token behind";
  EXPECT_EQ(attrib_of("<r a b \"1\"/>", "a"), "1") << "whatever stands between";
  EXPECT_EQ(attrib_of("<r a b=\"1\"/>", "a"), "") << "three tokens behind";
}

TEST_F(XmlAttribTest, AQuestionMarkEndsTheTag) {
  EXPECT_EQ(attrib_of("<r a=\"1\" ? b=\"2\"/>", "a"), "1");
  EXPECT_EQ(doc.GetAttrib("b"), "");
}

TEST_F(XmlAttribTest, AValueWhoseQuotationMarkIsMissingStaysInsideTheText) {
  EXPECT_EQ(attrib_of("<r a=\"x></r>", "a"), "x></r>") << "up to the last character";
  EXPECT_EQ(attrib_of("<r a='></r>\r\n", "a"), "></r>\r\n");
}

TEST_F(XmlAttribTest, BehindAMissingQuotationMarkThereAreNoAttributes) {
  EXPECT_EQ(attrib_of("<r a=\"x b='2'></r>", "b"), "");
  EXPECT_EQ(names_of("<r a=\"x b='2'></r>"), (Names{"a"}));
  ASSERT_TRUE(doc.SetAttrib("b", "3"));
  EXPECT_EQ(doc.GetDoc(), "<r a=\"x b='2' b=\"3\"></r>");
}

TEST_F(XmlAttribTest, ANameThatIsNoneIsNoAttribute) {
  start_from("<r a=\"1\" b=\"2\"><c d=\"3\"/></r>", "c");
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(doc.GetAttrib(name), "");
    EXPECT_EQ(doc.GetChildAttrib(name), "");
  }
}

// --- Whose attribute ---

TEST_F(XmlAttribTest, TheChildFormsReadAndSetTheCurrentChild) {
  start_from("<r a=\"main\"><c a=\"first\"/><c a=\"second\"/></r>");
  EXPECT_EQ(doc.GetChildAttrib("a"), "") << "no child is current";
  ASSERT_TRUE(doc.FindChildElem());
  ASSERT_TRUE(doc.FindChildElem());
  EXPECT_EQ(doc.GetChildAttrib("a"), "second");
  EXPECT_EQ(doc.GetAttrib("a"), "main");
  EXPECT_TRUE(doc.SetChildAttrib("a", "new"));
  EXPECT_TRUE(doc.SetChildAttrib("n", 7));
  expect_text("<r a=\"main\"><c a=\"first\"/><c a=\"new\" n=\"7\"/></r>");
  EXPECT_EQ(doc.GetChildAttrib("n"), "7");
  EXPECT_EQ(doc.GetAttrib("n"), "");
}

TEST_F(XmlAttribTest, WithoutAMainElementNothingIsReadOrSet) {
  ASSERT_TRUE(doc.SetDoc("<r a=\"1\"><c a=\"2\"/></r>"));
  const Trace before(doc);
  EXPECT_EQ(doc.GetAttrib("a"), "");
  EXPECT_EQ(doc.GetAttribName(0), "");
  EXPECT_EQ(doc.GetChildAttrib("a"), "");
  EXPECT_FALSE(doc.SetAttrib("a", "x"));
  EXPECT_FALSE(doc.SetAttrib("a", 1));
  EXPECT_FALSE(doc.SetChildAttrib("a", "x"));
  EXPECT_FALSE(doc.SetChildAttrib("a", 1));
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlAttribTest, WithoutACurrentChildTheChildFormsAreRefused) {
  start_from("<r><c a=\"2\"/></r>");
  const Trace before(doc);
  EXPECT_FALSE(doc.SetChildAttrib("a", "x"));
  EXPECT_FALSE(doc.SetChildAttrib("a", 1));
  EXPECT_EQ(Trace(doc), before);
}

TEST_F(XmlAttribTest, AnEmptyDocumentHasNoAttributes) {
  EXPECT_EQ(doc.GetAttrib("a"), "");
  EXPECT_EQ(doc.GetAttribName(0), "");
  EXPECT_FALSE(doc.SetAttrib("a", "x"));
  EXPECT_EQ(doc.GetDoc(), "");
}

TEST_F(XmlAttribTest, NoAttributeIsReadOrSetAtIndexZero) {
  start_from("<r a=\"1\"/>");
  EXPECT_EQ(doc.x_GetAttrib(0, "a"), "");
  EXPECT_FALSE(doc.x_SetAttrib(0, "a", "2"));
  expect_text("<r a=\"1\"/>");
}

// --- Names ---

TEST_F(XmlAttribTest, NamesAreCountedFromZero) {
  EXPECT_EQ(names_of("<r a=\"1\" bc = '2' d=\"\">text=\"x\"</r>"), (Names{"a", "bc", "d"}));
  EXPECT_EQ(doc.GetAttribName(3), "");
  EXPECT_EQ(doc.GetAttribName(99), "");
}

TEST_F(XmlAttribTest, AnElementWithoutAttributesHasNoNames) {
  EXPECT_EQ(names_of("<r/>"), Names{});
  EXPECT_EQ(names_of("<r></r>"), Names{});
  EXPECT_EQ(names_of("<r><c a=\"1\"/></r>"), Names{});
}

TEST_F(XmlAttribTest, ANegativeNumberNamesNoAttribute) {
  start_from("<r a=\"1\"/>");
  EXPECT_EQ(doc.GetAttribName(-1), "");
  EXPECT_EQ(doc.GetAttribName(INT_MIN), "");
  EXPECT_EQ(doc.GetAttribName(INT_MAX), "");
}

TEST_F(XmlAttribTest, AValueWithoutQuotationMarksCountsAsANameAndHidesTheOneBehindIt) {
  // The search for the next name takes the first token behind the last one for an equals sign.
  EXPECT_EQ(names_of("<r a=x b=\"1\"/>"), (Names{"a", "x"}));
  EXPECT_EQ(names_of("<r a=x b=\"1\" c=\"2\"/>"), (Names{"a", "x", "c"}));
  EXPECT_EQ(names_of("<r a b c=\"1\"/>"), (Names{"a", "c"}));
}

TEST_F(XmlAttribTest, NamesInGbkAreGivenAsTheyStand) {
  EXPECT_EQ(names_of("<r \xB2\xE2=\"1\" \xCA\xD4='2'/>"), (Names{"\xB2\xE2", "\xCA\xD4"}));
}

TEST_F(XmlAttribTest, NamesAreThoseOfTheMainElement) {
  start_from("<r a=\"1\"><c b=\"2\"/></r>", "c");
  EXPECT_EQ(doc.GetAttribName(0), "a");
  ASSERT_TRUE(doc.IntoElem());
  EXPECT_EQ(doc.GetAttribName(0), "b");
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

TEST_F(XmlAttribTest, AValueThatIsThereIsReplacedBetweenItsOwnMarks) {
  start_from("<r a=\"1\" b='2'><c/></r>");
  EXPECT_TRUE(doc.SetAttrib("b", "longer"));
  EXPECT_TRUE(doc.SetAttrib("a", ""));
  expect_text("<r a=\"\" b='longer'><c/></r>");
  EXPECT_TRUE(doc.SetAttrib("a", "x"));
  EXPECT_TRUE(doc.SetAttrib("b", "y"));
  expect_text("<r a=\"x\" b='y'><c/></r>");
}

TEST_F(XmlAttribTest, ANewAttributeGoesBeforeTheEndOfTheStartTag) {
  start_from("<r>text</r>\r\n");
  EXPECT_TRUE(doc.SetAttrib("a", "1"));
  expect_text("<r a=\"1\">text</r>\r\n");
  EXPECT_TRUE(doc.SetAttrib("b", "2"));
  expect_text("<r a=\"1\" b=\"2\">text</r>\r\n");
}

TEST_F(XmlAttribTest, AnEmptyElementKeepsItsSlashBehindANewAttribute) {
  start_from("<r/>\r\n");
  EXPECT_TRUE(doc.SetAttrib("a", "1"));
  expect_text("<r a=\"1\"/>\r\n");
  EXPECT_TRUE(xml_support::entry(doc, root_of(doc)).IsEmptyElement());
  EXPECT_EQ(place_of(doc, root_of(doc)), (xml_support::Place{0, 9, 8, 9}));
  EXPECT_TRUE(doc.SetAttrib("a", "22"));
  expect_text("<r a=\"22\"/>\r\n");
}

TEST_F(XmlAttribTest, BlanksBeforeTheEndOfTheTagStayBeforeANewAttribute) {
  start_from("<r a='1' />");
  EXPECT_TRUE(doc.SetAttrib("b", "2"));
  expect_text("<r a='1'  b=\"2\"/>");
  start_from("<r\r\n></r>");
  EXPECT_TRUE(doc.SetAttrib("b", "2"));
  expect_text("<r\r\n b=\"2\"></r>");
}

TEST_F(XmlAttribTest, ANumberIsWrittenInDecimal) {
  start_from("<r/>");
  EXPECT_TRUE(doc.SetAttrib("a", 0));
  EXPECT_TRUE(doc.SetAttrib("b", -17));
  EXPECT_TRUE(doc.SetAttrib("min", INT_MIN));
  EXPECT_TRUE(doc.SetAttrib("max", INT_MAX));
  expect_text("<r a=\"0\" b=\"-17\" min=\"-2147483648\" max=\"2147483647\"/>");
}

TEST_F(XmlAttribTest, ADoubleQuotationMarkIsStoredEscapedAndReadBack) {
  start_from("<r/>");
  EXPECT_TRUE(doc.SetAttrib("a", "say \"x\""));
  expect_text("<r a=\"say &quot;x&quot;\"/>");
  EXPECT_EQ(doc.GetAttrib("a"), "say \"x\"");
}

TEST_F(XmlAttribTest, AllFiveCharactersAreEscapedInAnOldValueAndInANewOne) {
  start_from("<r a='1'/>");
  EXPECT_TRUE(doc.SetAttrib("a", "<>&'\""));
  EXPECT_TRUE(doc.SetAttrib("b", "<>&'\""));
  expect_text("<r a='&lt;&gt;&amp;&apos;&quot;' b=\"&lt;&gt;&amp;&apos;&quot;\"/>");
  EXPECT_EQ(doc.GetAttrib("a"), "<>&'\"");
  EXPECT_EQ(doc.GetAttrib("b"), "<>&'\"");
}

TEST_F(XmlAttribTest, GbkBytesAreStoredAsTheyAre) {
  start_from("<r a=\"1\"/>");
  EXPECT_TRUE(doc.SetAttrib("a", kGbkText.c_str()));
  EXPECT_TRUE(doc.SetAttrib("\xB2\xE2", kGbkText.c_str()));
  expect_text("<r a=\"" + kGbkText + "\" \xB2\xE2=\"" + kGbkText + "\"/>");
  EXPECT_EQ(doc.GetAttrib("\xB2\xE2"), kGbkText);
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

TEST_F(XmlAttribTest, EverythingBehindANewAttributeMovesAndNothingBeforeIt) {
  start_from("<r>\r\n<a><x/></a>\r\n<b><y>1</y></b>\r\n<c/>\r\n</r>\r\n", "b");
  EXPECT_TRUE(doc.SetChildAttrib("n", "12345"));
  expect_text("<r>\r\n<a><x/></a>\r\n<b n=\"12345\"><y>1</y></b>\r\n<c/>\r\n</r>\r\n");
  EXPECT_TRUE(doc.SetChildAttrib("n", ""));
  expect_text("<r>\r\n<a><x/></a>\r\n<b n=\"\"><y>1</y></b>\r\n<c/>\r\n</r>\r\n");
  EXPECT_TRUE(doc.FindChildElem());
  EXPECT_TRUE(doc.SetChildData("z")) << "the next edit finds its place";
  expect_text("<r>\r\n<a><x/></a>\r\n<b n=\"\"><y>1</y></b>\r\n<c>z</c>\r\n</r>\r\n");
}

TEST_F(XmlAttribTest, SettingAnAttributeLeavesThePositionAlone) {
  start_from("<r><a/><b>1</b></r>", "b");
  EXPECT_TRUE(doc.SetAttrib("x", "1"));
  EXPECT_TRUE(doc.SetChildAttrib("y", "2"));
  EXPECT_EQ(doc.GetTagName(), "r");
  EXPECT_EQ(doc.GetChildData(), "1");
  EXPECT_FALSE(doc.FindChildElem());
}

}  // namespace
