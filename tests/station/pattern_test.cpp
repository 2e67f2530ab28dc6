// Regular expressions of plans: what they mean, which are refused, and that no text makes them slow.
#include "station/plan/pattern.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/station/plan_check.h"

namespace {

using t1station::Pattern;

std::string refusal(std::string_view pattern) {
  try {
    const Pattern accepted(pattern);
    return "";
  } catch (const std::invalid_argument& reason) {
    return reason.what();
  }
}

TEST(PatternTest, TheWholeTextMustMatch) {
  const Pattern serial("[A-Z]{2}[0-9]{8}");
  EXPECT_TRUE(serial.matches("AB00000001"));
  EXPECT_FALSE(serial.matches("AB000000012"));
  EXPECT_FALSE(serial.matches(" AB00000001"));
  EXPECT_FALSE(serial.matches("AB00000001\n"));
  EXPECT_FALSE(serial.matches(""));
  EXPECT_TRUE(Pattern("a|ab").matches("ab")) << "the first alternative that fits is not the only one tried";
  EXPECT_TRUE(Pattern("a{2,3}").matches("aaa"));
  EXPECT_FALSE(Pattern("a{2,3}").matches("aaaa"));
  EXPECT_TRUE(Pattern("a{0,1000}").matches("aaaa"));
}

TEST(PatternTest, TheFirstGroupOfTheFirstPlaceIsFound) {
  EXPECT_EQ(Pattern("(-?[0-9.]+)").find("from -3.5 to 7"), "-3.5");
  EXPECT_EQ(Pattern("t=(?:about )?([0-9]+)").find("t=about 12, t=13"), "12");
  EXPECT_EQ(Pattern("(a*)b").find("b"), "");
  EXPECT_EQ(Pattern("([0-9]+?)[0-9]*").find("123"), "1") << "as few as possible";
  EXPECT_EQ(Pattern("x(y)?").find("x"), std::nullopt) << "a group that took no part";
  EXPECT_EQ(Pattern("x").find("x"), std::nullopt) << "no group";
  EXPECT_EQ(Pattern("(x)").find("y"), std::nullopt);
  EXPECT_EQ(Pattern("^(x)$").find("x\nx"), std::nullopt) << "the ends are those of the text, not of a line";
}

TEST(PatternTest, CharactersCountAndNotBytes) {
  EXPECT_TRUE(Pattern("温.").matches("温度"));
  EXPECT_TRUE(Pattern("[温度]{2}").matches("度温"));
  EXPECT_TRUE(Pattern("\\u6e29度+").matches("温度度"));
  EXPECT_FALSE(Pattern("..").matches("温"));
  EXPECT_TRUE(Pattern(".").matches("\U0001F4F7"));
  EXPECT_TRUE(Pattern("[^a]").matches("温"));
  for (const std::string_view bytes : {"\xFF", "\xC0\x80", "\xED\xA0\x80"}) {
    EXPECT_FALSE(Pattern(".*").matches(bytes)) << "bytes that are no UTF-8 match nothing";
  }
  EXPECT_EQ(Pattern("温=([0-9])").find("\xFF温=5\xFF"), "5");
}

TEST(PatternTest, EscapesMeanWhatTheyMeanInEcmascript) {
  EXPECT_TRUE(Pattern("\\d\\w\\W\\D\\S").matches("1_-x温"));
  EXPECT_TRUE(Pattern("\\s{6}").matches(" \t\n\v\u00A0\u3000"));
  EXPECT_TRUE(Pattern("[\\sx]{2}").matches("\u3000x"));
  EXPECT_FALSE(Pattern("\\S").matches("\u3000"));
  EXPECT_TRUE(Pattern("\\x41\\u0042\\cJ\\t\\.\\/\\-\\温").matches("AB\n\t./-温"));
  EXPECT_TRUE(Pattern("[\\b]").matches("\b"));
  EXPECT_EQ(Pattern("\\b(a)\\b").find("ba a"), "a");
  EXPECT_TRUE(Pattern("[a\\]\\-[]+").matches("]-[a"));
  EXPECT_TRUE(Pattern("a]}").matches("a]}"));
  for (const std::string line_end : {"\n", "\r", "\u2028", "\u2029"})
    EXPECT_FALSE(Pattern(".").matches(line_end));
  EXPECT_TRUE(Pattern(std::string_view("\\0", 2)).matches(std::string_view("\0", 1)));
}

TEST(PatternTest, WhatCouldRunAwayIsRefusedWithItsPlace) {
  for (const std::string_view pattern : {"(a+)+", "(a*)*b", "(?:a{2})*", "(a|b*)+", "((a+)b)*", "(a+){10}",
                                         "((a{50}){50}){50}", "(x(y(z*)))+?"}) {
    EXPECT_NE(refusal(pattern).find("a repetition inside a repetition"), std::string::npos) << pattern;
  }
  EXPECT_EQ(refusal("温(a+)+"), "at character 6: a repetition inside a repetition, which could run away");
  EXPECT_EQ(refusal("(a)\\1"), "at character 4: a reference back to a group, which could run away");
  for (const std::string_view pattern : {"(?=a)", "(?!a)", "(?<=a)", "(?<n>a)", "(?P<n>a)", "(?i)a", "(?"}) {
    EXPECT_NE(refusal("x" + std::string(pattern)).find("at character 2: of the groups with (?"),
              std::string::npos)
        << pattern;
  }
  EXPECT_EQ(refusal(repeated("a", 200)), "");
  EXPECT_EQ(refusal(repeated("温", 201)), "has 201 characters; 200 are the most");
  EXPECT_EQ(refusal("温{1000}.{1000}"), "is too large: write smaller numbers into {...}");
}

TEST(PatternTest, RepetitionsBehindEachOtherAndOptionalPartsAreNoDanger) {
  for (const std::string_view pattern :
       {"(-?[0-9]+(?:\\.[0-9]+)?)", "[A-Z]{2}[0-9]{8}", "(a?b?)*", "(a+)?", "(a+){1}", "(a|aa)*", ".*.*.*"}) {
    EXPECT_EQ(refusal(pattern), "") << pattern;
  }
}

TEST(PatternTest, WhatIsNoEcmascriptIsRefusedWithItsPlace) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "is empty"},
      {"\xFF", "is no UTF-8"},
      {"a(b", "at character 2: the group that begins here has no end"},
      {"a)", "at character 2: this ) closes no group; write \\) for the character"},
      {"*a",
       "at character 1: nothing that could be repeated stands before this; write \\ before the character"},
      {"a**",
       "at character 3: nothing that could be repeated stands before this; write \\ before the character"},
      {"^*",
       "at character 2: nothing that could be repeated stands before this; write \\ before the character"},
      {"a{",
       "at character 2: { begins {n}, {n,} or {n,m}, with numbers up to 1000; write \\{ for the character"},
      {"a{,2}",
       "at character 2: { begins {n}, {n,} or {n,m}, with numbers up to 1000; write \\{ for the character"},
      {"a{1001}",
       "at character 2: { begins {n}, {n,} or {n,m}, with numbers up to 1000; write \\{ for the character"},
      {"a{3,2}", "at character 2: the numbers in {...} are the wrong way round"},
      {"[a", "at character 1: the [ that stands here has no ]"},
      {"[]a]", "at character 1: brackets with nothing in them; write \\] for the character"},
      {"[[:alpha:]]", "at character 2: names of classes are no ECMAScript; write \\[ for the character"},
      {"a\\", "at character 2: nothing stands behind this backslash"},
      {"\\A", "at character 1: \\A has no meaning"},
      {"\\pL", "at character 1: \\p has no meaning"},
      {"\\xg1", "at character 1: behind \\x stand 2 hexadecimal digits"},
      {"\\u12", "at character 1: behind \\u stand 4 hexadecimal digits"},
      {"\\ud83d", "at character 1: half a character; write the character itself"},
      {"\\c1", "at character 1: behind \\c stands a letter"},
      {"[z-a]", "is no regular expression: invalid character class range: z-a"},
  };
  for (const auto& [pattern, reason] : cases) EXPECT_EQ(refusal(pattern), reason) << pattern;
}

// These take a search that goes back and tries again longer than a shift. Steps are counted, not time: a text
// is gone through once, and each byte costs at most one step for each instruction.
TEST(PatternTest, NoTextMakesASearchLong) {
  const std::string text = repeated("a", 2048);
  for (const std::string_view pattern : {".*.*.*.*.*.*.*.*.*.*x", "(a|a)*b", "(a|aa|aaa)*$x", "(a?a?a?a?)*b",
                                         "(.*)(.*)(.*)(.*)(.*)[0-9]", "a*a*a*a*a*a*a*a*a*a*a*a*b"}) {
    const Pattern hard(pattern);
    EXPECT_LE(hard.steps_per_byte(), 300U) << pattern;
    EXPECT_FALSE(hard.matches(text)) << pattern;
    EXPECT_EQ(hard.find(text), std::nullopt) << pattern;
  }
  EXPECT_LE(Pattern("[一-龥]{1,200}x").steps_per_byte(), 10000U);
}

}  // namespace
