// Cutting GBK texts and reading decimal numbers.
#include "t1_sdk/util/text.h"

#include <gtest/gtest.h>
#include <array>
#include <climits>
#include <cstddef>
#include <string>

namespace {

// Two characters of two bytes each.
const std::string kTwoCharacters = "\xB2\xE2\xCA\xD4";
constexpr char kUntouched = '#';

/// The text that a buffer of `size` bytes holds afterwards. Nothing behind it may change.
std::string copied(const std::string& text, std::size_t size) {
  std::array<char, 32> buffer;
  buffer.fill(kUntouched);
  copy_gbk(buffer.data(), size, text.c_str());
  for (std::size_t at = size; at < buffer.size(); ++at) EXPECT_EQ(buffer[at], kUntouched) << "byte " << at;
  return buffer.data();
}

TEST(TextTest, ATextThatFitsIsCopiedWhole) {
  EXPECT_EQ(copied("ok", 3), "ok");
  EXPECT_EQ(copied(kTwoCharacters, 5), kTwoCharacters);
  EXPECT_EQ(copied(kTwoCharacters, 32), kTwoCharacters);
  EXPECT_EQ(copied("", 8), "");
}

TEST(TextTest, ATextThatDoesNotFitIsCutBetweenCharacters) {
  EXPECT_EQ(copied(kTwoCharacters, 4), "\xB2\xE2");
  EXPECT_EQ(copied(kTwoCharacters, 3), "\xB2\xE2");
  EXPECT_EQ(copied(kTwoCharacters, 2), "");
  EXPECT_EQ(copied(kTwoCharacters, 1), "");
}

TEST(TextTest, ASingleByteShiftsTheCut) {
  EXPECT_EQ(copied("a" + kTwoCharacters, 5), "a\xB2\xE2");
  EXPECT_EQ(copied("a" + kTwoCharacters, 4), "a\xB2\xE2");
  EXPECT_EQ(copied("a" + kTwoCharacters, 3), "a");
}

TEST(TextTest, ASecondByteThatLooksLikeALetterBelongsToItsCharacter) {
  EXPECT_EQ(copied("\x81\x41\x81\x42", 4), "\x81\x41");
}

TEST(TextTest, HalfACharacterAtTheEndIsNotReadPast) {
  const std::string text = copied("a\xB2", 8);
  EXPECT_EQ(text.substr(0, 1), "a");
  EXPECT_LE(text.size(), 2U);
}

TEST(TextTest, ANumberIsReadFromTheStartOfAText) {
  EXPECT_EQ(parse_int("1536"), 1536);
  EXPECT_EQ(parse_int("  1536"), 1536);
  EXPECT_EQ(parse_int("+1536"), 1536);
  EXPECT_EQ(parse_int("-15"), -15);
  EXPECT_EQ(parse_int("1536abc"), 1536);
  EXPECT_EQ(parse_int("0x600"), 0);
  EXPECT_EQ(parse_int("0600"), 600);
}

TEST(TextTest, ATextWithoutANumberIsZero) {
  EXPECT_EQ(parse_int(""), 0);
  EXPECT_EQ(parse_int("abc"), 0);
  EXPECT_EQ(parse_int("-"), 0);
}

TEST(TextTest, ANumberBeyond32BitsIsTheNearestOneThatTheBoardHas) {
  EXPECT_EQ(parse_int("2147483647"), INT_MAX);
  EXPECT_EQ(parse_int("2147483648"), INT_MAX);
  EXPECT_EQ(parse_int("99999999999999999999999"), INT_MAX);
  EXPECT_EQ(parse_int("-2147483648"), INT_MIN);
  EXPECT_EQ(parse_int("-2147483649"), INT_MIN);
  EXPECT_EQ(parse_int("-99999999999999999999999"), INT_MIN);
}

}  // namespace
