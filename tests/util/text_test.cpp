// Cutting GBK texts and reading numbers.
#include "t1_sdk/util/text.h"

#include <gtest/gtest.h>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace boardtest;

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

// ---- numbers in a pattern -----------------------------------------------------------------

using Numbers = std::vector<long long>;

constexpr long long kUnread = -77'777'777'777;

/// What a scan came to: whether it matched, and the numbers that it read.
struct Scan {
  bool matched = false;
  Numbers numbers;
  bool operator==(const Scan&) const = default;
};

void PrintTo(const Scan& scan, std::ostream* out) {
  *out << (scan.matched ? "matched" : "not matched") << ' ' << ::testing::PrintToString(scan.numbers);
}

Scan scan(const char* text, const char* pattern) {
  std::array<long long, 9> numbers;
  numbers.fill(kUnread);
  Scan result{scan_numbers(text, pattern, numbers.data()), {}};
  std::size_t read = 0;
  while (read < numbers.size() && numbers[read] != kUnread) result.numbers.push_back(numbers[read++]);
  for (; read < numbers.size(); ++read) EXPECT_EQ(numbers[read], kUnread) << "number " << read;
  return result;
}

Scan matched(Numbers numbers) {
  return {true, std::move(numbers)};
}
Scan not_matched(Numbers numbers = {}) {
  return {false, std::move(numbers)};
}

TEST(ScanNumbersTest, DecimalNumbersAreClampedToThoseOfTheBoard) {
  EXPECT_EQ(scan("2147483646", "#"), matched({2147483646}));
  EXPECT_EQ(scan("2147483647", "#"), matched({2147483647}));
  EXPECT_EQ(scan("2147483648", "#"), matched({2147483647}));
  EXPECT_EQ(scan("4294967296", "#"), matched({2147483647}));
  EXPECT_EQ(scan("9223372036854775807", "#"), matched({2147483647}));
  EXPECT_EQ(scan("9223372036854775808", "#"), matched({2147483647}));
  EXPECT_EQ(scan("99999999999999999999999", "#"), matched({2147483647}));
  EXPECT_EQ(scan("-2147483647", "#"), matched({-2147483647}));
  EXPECT_EQ(scan("-2147483648", "#"), matched({-2147483648LL}));
  EXPECT_EQ(scan("-2147483649", "#"), matched({-2147483648LL}));
  EXPECT_EQ(scan("-99999999999999999999999", "#"), matched({-2147483648LL}));
}

TEST(ScanNumbersTest, HexadecimalNumbersHaveAll32BitsAndAreClampedAbove) {
  EXPECT_EQ(scan("7fffffff", "$"), matched({0x7FFFFFFF}));
  EXPECT_EQ(scan("80000000", "$"), matched({0x80000000LL}));
  EXPECT_EQ(scan("fffffffe", "$"), matched({0xFFFFFFFELL}));
  EXPECT_EQ(scan("FFFFFFFF", "$"), matched({0xFFFFFFFFLL}));
  EXPECT_EQ(scan("100000000", "$"), matched({0xFFFFFFFFLL}));
  EXPECT_EQ(scan("ffffffffffffffffffffffff", "$"), matched({0xFFFFFFFFLL}));
  EXPECT_EQ(scan("-1", "$"), matched({-1}));
  EXPECT_EQ(scan("-80000000", "$"), matched({-2147483648LL}));
  EXPECT_EQ(scan("-80000001", "$"), matched({-2147483648LL}));
  EXPECT_EQ(scan("-ffffffffffffffffffffffff", "$"), matched({-2147483648LL}));
}

TEST(ScanNumbersTest, ADecimalNumberEndsAtALetterAndAHexadecimalOneMayHaveItsPrefix) {
  EXPECT_EQ(scan("12ab", "#"), matched({12}));
  EXPECT_EQ(scan("0x12", "#x#"), matched({0, 12}));
  EXPECT_EQ(scan("12ab", "$"), matched({0x12AB}));
  EXPECT_EQ(scan("0x12ab", "$"), matched({0x12AB}));
  EXPECT_EQ(scan("0X12AB", "$"), matched({0x12AB}));
  EXPECT_EQ(scan("0xg", "$xg"), matched({0})) << "a prefix without digits is a zero and a letter";
  EXPECT_EQ(scan("012", "#"), matched({12}));
  EXPECT_EQ(scan("+5", "#"), matched({5}));
}

TEST(ScanNumbersTest, EverythingElseInAPatternStandsForItself) {
  EXPECT_EQ(scan("[TF2V1][TS3V1][VER2.1][4]", "[TF#V#][TS#V#][VER#.#][#]"), matched({2, 1, 3, 1, 2, 1, 4}));
  EXPECT_EQ(scan("{0x2f 0xabcd 5000}", "{$ $ #}"), matched({0x2F, 0xABCD, 5000}));
  EXPECT_EQ(scan("5%", "#%"), matched({5}));
  EXPECT_EQ(scan("a", "a"), matched({}));
  EXPECT_EQ(scan("A", "a"), not_matched());
}

TEST(ScanNumbersTest, ABlankStandsForAnyWhiteSpaceAndForNone) {
  for (const char* text : {"1 2", "1   2", "1\t2", "1 \t\r\n\v\f 2"}) {
    EXPECT_EQ(scan(text, "# #"), matched({1, 2})) << text;
  }
  EXPECT_EQ(scan("{1}", "{ # }"), matched({1}));
  EXPECT_EQ(scan("{ 1 }", "{ # }"), matched({1}));
  EXPECT_EQ(scan("1-2", "# #"), matched({1, -2}));
}

TEST(ScanNumbersTest, WhiteSpaceBeforeANumberNeedsNoBlankButWhiteSpaceBeforeAnythingElseDoes) {
  EXPECT_EQ(scan("{ \t1}", "{#}"), matched({1}));
  EXPECT_EQ(scan("{1 }", "{#}"), not_matched({1}));
  EXPECT_EQ(scan(" {1}", "{#}"), not_matched());
}

TEST(ScanNumbersTest, ATextThatGoesOnBehindThePatternMatches) {
  EXPECT_EQ(scan("{1}}", "{#}"), matched({1}));
  EXPECT_EQ(scan("{1}\r\n", "{#}"), matched({1}));
  EXPECT_EQ(scan("anything", ""), matched({}));
  EXPECT_EQ(scan("", ""), matched({}));
}

TEST(ScanNumbersTest, AScanThatFailsKeepsTheNumbersBeforeTheMismatch) {
  constexpr const char* kPattern = "{$ $ #}";
  EXPECT_EQ(scan("", kPattern), not_matched());
  EXPECT_EQ(scan("[", kPattern), not_matched());
  EXPECT_EQ(scan("{", kPattern), not_matched());
  EXPECT_EQ(scan("{}", kPattern), not_matched());
  EXPECT_EQ(scan("{0x1", kPattern), not_matched({1}));
  EXPECT_EQ(scan("{0x1 ", kPattern), not_matched({1}));
  EXPECT_EQ(scan("{0x1 zz", kPattern), not_matched({1}));
  EXPECT_EQ(scan("{0x1 0x2 -", kPattern), not_matched({1, 2}));
  EXPECT_EQ(scan("{0x1 0x2 3", kPattern), not_matched({1, 2, 3}));
  EXPECT_EQ(scan("{0x1 0x2 3]", kPattern), not_matched({1, 2, 3}));
}

}  // namespace
