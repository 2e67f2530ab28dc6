// The table of tests, and the words that choose from it.
#include "station/catalogue/codes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "station/protocol/document.h"
#include "station/text/errors.h"

namespace {

using catalogue::find_test;
using t1station::parse_code;
using t1station::UsageError;

TEST(CodesTest, AllTestsOfBoardsAreThere) {
  const std::set<std::int32_t> expected{
      -16,   -15,   513,   518,   519,   520,   521,   528,   530,   531,   532,   534,   535,   1024,  1536,
      1792,  4352,  4608,  7426,  9472,  9728,  9984,  10240, 10496, 10752, 10768, 10769, 11009, 11010, 11011,
      11265, 11266, 11267, 11521, 11522, 11523, 11776, 12032, 13568, 13824, 14592, 69633, 69634};
  std::set<std::int32_t> found;
  for (const catalogue::Test& test : catalogue::tests()) found.insert(test.code);
  EXPECT_EQ(found, expected);
  EXPECT_EQ(catalogue::tests().size(), expected.size());
}

TEST(CodesTest, NamesAndTitlesAreUniqueAndNamesAreEasyToType) {
  std::set<std::string_view> names, titles;
  for (const catalogue::Test& test : catalogue::tests()) {
    EXPECT_TRUE(names.insert(test.name).second) << test.name;
    EXPECT_TRUE(titles.insert(test.title).second) << test.title;
    EXPECT_EQ(test.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-"), std::string_view::npos)
        << test.name;
    EXPECT_TRUE(test.name[0] >= 'a' && test.name[0] <= 'z') << test.name;
    EXPECT_GT(test.seconds, 0) << test.name;
  }
}

TEST(CodesTest, EveryTestCanBeAskedForAndAnswered) {
  std::set<std::int32_t> with_parameter;
  for (const catalogue::Test& test : catalogue::tests()) {
    EXPECT_EQ(parse_code(std::string(test.name)), test.code);
    EXPECT_EQ(t1station::reply_code(test.code), test.code == -16 ? 1024 : test.code)
        << "the pan-and-tilt port";
    EXPECT_LE(t1station::make_request(test.code, -2147483647 - 1).size(), 512U) << "what a board takes";
    if (t1station::takes_parameter(test)) with_parameter.insert(test.code);
  }
  EXPECT_EQ(with_parameter, (std::set<std::int32_t>{9728, 9984, 10240})) << "those that set a voltage";
  for (const catalogue::Family& family : catalogue::families()) {
    EXPECT_EQ(catalogue::tests_of(family.name).back()->code, t1station::kRestartCode) << family.name;
  }
}

TEST(CodesTest, ATestIsChosenByItsCodeWhichNoTableNeedsToKnow) {
  EXPECT_EQ(parse_code("1536"), 1536);
  EXPECT_EQ(parse_code("0x600"), 1536);
  EXPECT_EQ(parse_code("0X1d02"), 7426);
  EXPECT_EQ(parse_code("-15"), -15);
  EXPECT_EQ(parse_code("1"), 1);
  EXPECT_EQ(parse_code("2147483647"), 2147483647);
  EXPECT_EQ(parse_code("-2147483648"), -2147483647 - 1);
  EXPECT_EQ(find_test(1), nullptr);
  EXPECT_EQ(t1station::title_of(1), "test 1");
  EXPECT_EQ(t1station::name_of(1), "1");
}

TEST(CodesTest, WordsThatAreNoTestServiceMessagesAndTheQuitRequestAreRefused) {
  for (const std::string word :
       {"", "clock", "RTC", "15x", "0x", "-", "--15", "1.5", "2147483648", "-2147483649", "0x-5",
        "99999999999999999999", "-99999999999999999999", "255", "0xFF", "62208", "0xF300"}) {
    EXPECT_THROW(parse_code(word), UsageError) << word;
  }
}

TEST(CodesTest, AStationWaitsThreeTimesTheUsualLengthAndHalfAMinute) {
  EXPECT_DOUBLE_EQ(t1station::default_timeout(1536), 48);
  EXPECT_DOUBLE_EQ(t1station::default_timeout(14592), 60);
  EXPECT_DOUBLE_EQ(t1station::default_timeout(1), 30);
  EXPECT_DOUBLE_EQ(t1station::default_timeout(1024), 255) << "a board that is echoed may take 245 s";
}

}  // namespace
