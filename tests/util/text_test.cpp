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

TEST(TextTest, ATextThatDoesNotFitIsCutBetweenCharacters) {
  struct {
    std::string text;
    std::size_t size;
    std::string copy;
  } const rows[] = {{"ok", 3, "ok"},
                    {kTwoCharacters, 5, kTwoCharacters},
                    {kTwoCharacters, 32, kTwoCharacters},
                    {"", 8, ""},
                    {kTwoCharacters, 4, "\xB2\xE2"},
                    {kTwoCharacters, 3, "\xB2\xE2"},
                    {kTwoCharacters, 2, ""},
                    {kTwoCharacters, 1, ""},
                    {"a" + kTwoCharacters, 5, "a\xB2\xE2"},
                    {"a" + kTwoCharacters, 4, "a\xB2\xE2"},
                    {"a" + kTwoCharacters, 3, "a"},
                    {"\x81\x41\x81\x42", 4, "\x81\x41"}};  // a second byte that looks like a letter
  for (const auto& row : rows) EXPECT_EQ(copied(row.text, row.size), row.copy) << row.size;
}

TEST(TextTest, HalfACharacterAtTheEndIsNotReadPast) {
  const std::string text = copied("a\xB2", 8);
  EXPECT_EQ(text.substr(0, 1), "a");
  EXPECT_LE(text.size(), 2U);
}

TEST(TextTest, ANumberIsReadFromTheStartOfATextAsTheNearestOneThatTheBoardHas) {
  const std::pair<const char*, int> rows[] = {{"1536", 1536},
                                              {"  1536", 1536},
                                              {"+1536", 1536},
                                              {"-15", -15},
                                              {"1536abc", 1536},
                                              {"0x600", 0},
                                              {"0600", 600},
                                              {"", 0},
                                              {"abc", 0},
                                              {"-", 0},
                                              {"2147483647", INT_MAX},
                                              {"2147483648", INT_MAX},
                                              {"-2147483648", INT_MIN},
                                              {"-2147483649", INT_MIN},
                                              {"99999999999999999999999", INT_MAX},
                                              {"-99999999999999999999999", INT_MIN}};
  for (const auto& [text, number] : rows) EXPECT_EQ(parse_int(text), number) << text;
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
  const std::pair<const char*, long long> rows[] = {{"2147483646", 2147483646},
                                                    {"2147483647", 2147483647},
                                                    {"2147483648", 2147483647},
                                                    {"4294967296", 2147483647},
                                                    {"99999999999999999999999", 2147483647},
                                                    {"-2147483647", -2147483647},
                                                    {"-2147483648", -2147483648LL},
                                                    {"-2147483649", -2147483648LL},
                                                    {"-99999999999999999999999", -2147483648LL}};
  for (const auto& [text, number] : rows) EXPECT_EQ(scan(text, "#"), matched({number})) << text;
}

TEST(ScanNumbersTest, HexadecimalNumbersHaveAll32BitsAndAreClampedAbove) {
  const std::pair<const char*, long long> rows[] = {{"7fffffff", 0x7FFFFFFF},
                                                    {"80000000", 0x80000000LL},
                                                    {"fffffffe", 0xFFFFFFFELL},
                                                    {"FFFFFFFF", 0xFFFFFFFFLL},
                                                    {"100000000", 0xFFFFFFFFLL},
                                                    {"ffffffffffffffffffffffff", 0xFFFFFFFFLL},
                                                    {"-1", -1},
                                                    {"-80000000", -2147483648LL},
                                                    {"-80000001", -2147483648LL},
                                                    {"-ffffffffffffffffffffffff", -2147483648LL}};
  for (const auto& [text, number] : rows) EXPECT_EQ(scan(text, "$"), matched({number})) << text;
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
