// Numbers from what a board said, as its tests say them.
#include "station/plan/measure.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using t1station::Findings;
using t1station::Measure;
using t1station::Measurement;
using t1station::Pattern;
using From = t1station::Measure::From;

Measurement measured(From from, std::string_view pattern, const Findings& findings,
                     std::optional<double> low = std::nullopt, std::optional<double> high = std::nullopt) {
  Measure measure{"n", from, std::nullopt, "u", low, high};
  if (!pattern.empty()) measure.match = Pattern(pattern);
  return take_measurement(measure, findings);
}

std::optional<double> in_console(std::string_view pattern, std::string_view console) {
  return measured(From::console, pattern, {"", console, 0}).value;
}

std::optional<double> number(std::string_view text) {
  return measured(From::description, "=(.*)", {"=" + std::string(text), std::nullopt, 0}).value;
}

// What the disk test prints, as GBK.
constexpr std::string_view kWrongBytesGbk =
    "SD\xBF\xA8\xCD\xEA\xB3\xC9"
    "25(M)\xB6\xC1\xD0\xB4\xCA\xFD\xBE\xDD\xB2\xE2\xCA\xD4,\xB4\xED\xCE\xF3\xCA\xFD\xBE\xDD"
    "7(8bit)\r\n";

TEST(MeasureTest, TheLimitsThemselvesAreInside) {
  const auto outcome = [](double seconds) {
    return measured(From::seconds, "", {"", std::nullopt, seconds}, 10.0, 60.0).outcome;
  };
  EXPECT_EQ(outcome(9.999), "low");
  EXPECT_EQ(outcome(10), "passed");
  EXPECT_EQ(outcome(60), "passed");
  EXPECT_EQ(outcome(60.001), "high");
  EXPECT_EQ(measured(From::seconds, "", {"", std::nullopt, -5}).outcome, "passed") << "no limits";
}

TEST(MeasureTest, AMeasurementCarriesWhatItWasHeldAgainst) {
  const Measurement found =
      measured(From::description, "num = \\[([0-9]+)\\]",
               {"\nTG param OK. num = [3] TGVer[10002]\n\n{0x10}", std::nullopt, 0}, 1, 128);
  EXPECT_EQ(found.name, "n");
  EXPECT_EQ(found.unit, "u");
  EXPECT_EQ(found.value, 3);
  EXPECT_EQ(found.low, 1);
  EXPECT_EQ(found.high, 128);
  EXPECT_EQ(found.outcome, "passed");
}

TEST(MeasureTest, WhatIsNotFoundHasNoValueAndDoesNotPass) {
  const Measurement missing =
      measured(From::description, "num = ([0-9]+)", {"TG param ERROR", std::nullopt, 0});
  EXPECT_EQ(missing.value, std::nullopt);
  EXPECT_EQ(missing.outcome, "not_found");
  EXPECT_EQ(measured(From::console, "([0-9]+)", {"5", std::nullopt, 5}).outcome, "not_found") << "no console";
}

TEST(MeasureTest, ANumberIsASignDigitsAndAFraction) {
  EXPECT_EQ(number("0"), 0.0);
  EXPECT_EQ(number("-40.0"), -40.0);
  EXPECT_EQ(number("+7.25"), 7.25);
  EXPECT_EQ(number("007"), 7.0);
  const std::string huge(400, '9');
  for (const char* text : {"", "-", "+-5", "--5", "5.", ".5", "1.2.3", "1e5", "0x10", "nan", "inf", " 5",
                           "5 ", "1,5", "٣", huge.c_str()}) {
    EXPECT_EQ(number(text), std::nullopt) << text;
  }
  EXPECT_EQ(number("0." + std::string(400, '0') + "1").value_or(-1), -1)
      << "too small to be told from nothing";
}

TEST(MeasureTest, AConsoleIsReadAsUtf8WhereItIsThatAndElseAsGbk) {
  EXPECT_EQ(in_console("当前温度：(-?[0-9]+\\.[0-9])", "温度传感器测得当前温度：45.5 摄氏度\n"), 45.5);
  EXPECT_EQ(in_console("错误数据([0-9]+)\\(8bit\\)$", kWrongBytesGbk), 7)
      << "and a line's end is no part of it";
  const std::string mixed =
      "\xB0\x80half a character\n\xFF noise\n" + std::string(kWrongBytesGbk) + "温度 5\n";
  EXPECT_EQ(in_console("错误数据([0-9]+)", mixed), 7) << "noise in one line spoils no other one";
  EXPECT_EQ(in_console("^温度 ([0-9])", mixed), 5);
  EXPECT_EQ(in_console("noise([0-9]?)", mixed), std::nullopt) << "the first place counts, number or not";
}

TEST(MeasureTest, AConsoleIsSearchedLineByLine) {
  EXPECT_EQ(in_console("^t=([0-9]+)$", "xt=1\r\nt=2\r\nt=3\r\n"), 2);
  EXPECT_EQ(in_console("a[^x]*=([0-9])", "a\n=1"), std::nullopt) << "a pattern reaches no other line";
  EXPECT_EQ(in_console("t=([0-9])", std::string(2040, '.') + "t=1\nt=2"), 1);
  EXPECT_EQ(in_console("t=([0-9])", std::string(2048, '.') + "t=1\nt=2"), 2)
      << "the first 2048 bytes of a line";
  EXPECT_EQ(in_console("t=([0-9])", std::string(1 << 20, '\n') + "t=4"), 4);
  EXPECT_EQ(in_console("(a|a)*([0-9])", std::string(1 << 20, 'a')), std::nullopt);
  EXPECT_EQ(in_console("([0-9])", ""), std::nullopt);
}

}  // namespace
