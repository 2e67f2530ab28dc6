// GBK, clean texts and their widths.
#include "station/text/text.h"

#include <gtest/gtest.h>

#include "station/text/errors.h"
#include "tests/station/board_texts.h"

namespace {

using t1station::clean_text;
using t1station::cut_to_width;
using t1station::display_width;
using t1station::gbk_to_utf8;
using t1station::lines_of;
using t1station::pad_to_width;

TEST(BoardTextTest, ABoardsGbkBecomesReadableChinese) {
  EXPECT_EQ(gbk_to_utf8(board_texts::rtc_name_gbk), board_texts::rtc_name);
  EXPECT_EQ(gbk_to_utf8(board_texts::prompt_gbk), board_texts::prompt);
  EXPECT_EQ(gbk_to_utf8(board_texts::title_gbk), board_texts::title);
  EXPECT_EQ(gbk_to_utf8(""), "");
}

TEST(BoardTextTest, EveryGbkCharacterOfTwoBytesIsAcceptedOrRefusedWithoutHarm) {
  std::size_t accepted = 0;
  for (int lead = 0x80; lead <= 0xFF; ++lead) {
    for (int trail = 0; trail <= 0xFF; ++trail) {
      const std::string bytes{static_cast<char>(lead), static_cast<char>(trail)};
      try {
        if (!gbk_to_utf8(bytes).empty()) ++accepted;
      } catch (const t1station::ProtocolError&) {
        continue;
      }
    }
  }
  EXPECT_GT(accepted, 20000U);
}

TEST(BoardTextTest, ABoardThatSendsNoGbkIsFoundOutWithThePosition) {
  try {
    gbk_to_utf8("ok\xFF\xFF");
    FAIL() << "accepted";
  } catch (const t1station::ProtocolError& error) {
    EXPECT_STREQ(error.what(), "the document is no GBK text: byte 2 of 4 is wrong");
  }
  try {
    gbk_to_utf8("ok\xB2");
    FAIL() << "accepted";
  } catch (const t1station::ProtocolError& error) {
    EXPECT_STREQ(error.what(), "the document is no GBK text: byte 2 of 3 starts half a character");
  }
}

TEST(BoardTextTest, ABoardCannotSteerTheStationsTerminal) {
  EXPECT_EQ(clean_text("a\x1b[2Jb"), "a\uFFFD[2Jb");
  EXPECT_EQ(clean_text("a\x7F\u009Bb"), "a\uFFFD\uFFFDb");
  EXPECT_EQ(clean_text("a\u202Eb"), "a\uFFFDb");
  EXPECT_EQ(clean_text("a\tb\r\nc"), "a\tb\nc");
}

TEST(BoardTextTest, BytesThatAreNoCharacterAreReplacedOneByOne) {
  EXPECT_EQ(clean_text("a\xFF"), "a\uFFFD");
  EXPECT_EQ(clean_text("\xE6\xB5"), "\uFFFD\uFFFD");            // half a character
  EXPECT_EQ(clean_text("\xC0\x80"), "\uFFFD\uFFFD");            // zero, written too long
  EXPECT_EQ(clean_text("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");  // half of a pair
  EXPECT_EQ(clean_text("\xEF\xBF\xBE"), "\uFFFD");              // no character for ever
  EXPECT_EQ(clean_text("\xF0\x9F\x98\x80"), "\xF0\x9F\x98\x80");
}

TEST(BoardTextTest, ChineseCharactersTakeTwoColumnsAndLatinOnesOne) {
  EXPECT_EQ(display_width("RTC clock"), 9U);
  EXPECT_EQ(display_width(board_texts::rtc_name), 11U);
  EXPECT_EQ(display_width("，。（）"), 8U);
  EXPECT_EQ(display_width("e\u0301"), 1U);
  EXPECT_EQ(display_width(""), 0U);
}

TEST(BoardTextTest, TextsArePaddedAndCutByColumnsNotByBytes) {
  EXPECT_EQ(pad_to_width("测试", 6), "测试  ");
  EXPECT_EQ(pad_to_width("测试", 3), "测试");
  EXPECT_EQ(cut_to_width("测试RTC", 5), "测试R");
  EXPECT_EQ(cut_to_width("测试RTC", 3), "测");
  EXPECT_EQ(cut_to_width("RTC", 0), "");
}

TEST(BoardTextTest, EmptyLinesAroundABoardsTextAreLeftOut) {
  EXPECT_EQ(lines_of("\n\na\n\nb\n\n"), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(lines_of("a"), std::vector<std::string>{"a"});
  EXPECT_TRUE(lines_of("\n").empty());
  EXPECT_TRUE(lines_of("").empty());
}

TEST(BoardTextTest, SecondsAreShownWithOneDigitBehindThePoint) {
  EXPECT_EQ(t1station::seconds_text(6), "6.0");
  EXPECT_EQ(t1station::seconds_text(12.34), "12.3");
}

}  // namespace
