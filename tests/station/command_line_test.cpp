// Command lines, right and wrong.
#include "station/command_line.h"

#include <gtest/gtest.h>

#include "station/errors.h"

namespace {

using t1station::CommandLine;
using t1station::parse_command_line;
using t1station::UsageError;
using Words = std::vector<std::string>;
using Codes = std::vector<std::int32_t>;

Codes codes_of(const Words& words) {
  return parse_command_line(words).codes;
}

TEST(CommandLineTest, TheListNeedsNoBoard) {
  EXPECT_EQ(parse_command_line({"list"}).command, CommandLine::Command::list);
  EXPECT_EQ(parse_command_line({"board", "list"}).command, CommandLine::Command::list);
}

TEST(CommandLineTest, ARunNamesABoardAndTests) {
  const CommandLine line = parse_command_line({"192.0.2.7", "run", "rtc", "14592", "0x1D02"});
  EXPECT_EQ(line.command, CommandLine::Command::run);
  ASSERT_TRUE(line.board);
  EXPECT_EQ(line.board->text(), "192.0.2.7:36001");
  EXPECT_EQ(line.codes, (Codes{1536, 14592, 7426}));
  EXPECT_TRUE(line.quit);
  EXPECT_TRUE(line.keep_going);
  EXPECT_FALSE(line.timeout);
}

TEST(CommandLineTest, NegativeCodesAreTestsNotOptions) {
  EXPECT_EQ(codes_of({"b", "run", "-15"}), Codes{-15});
  EXPECT_EQ(codes_of({"b", "run", "--", "-15"}), Codes{-15});
  EXPECT_EQ(codes_of({"b", "run", "-16", "rtc", "-15", "--timeout", "5"}), (Codes{-16, 1536, -15}));
  EXPECT_EQ(codes_of({"b", "run", "--timeout", "5", "--", "rtc", "-15"}), (Codes{1536, -15}));
}

TEST(CommandLineTest, TheOptionsOfARunAreRead) {
  const CommandLine line = parse_command_line({"b:7", "run", "9728", "--param", "-120", "--timeout", "2.5",
                                               "--speed", "20", "--no-quit", "--quiet", "--fail-fast",
                                               "--color", "always", "--connect-timeout", "3"});
  EXPECT_EQ(line.parameter, -120);
  EXPECT_EQ(line.timeout, 2.5);
  EXPECT_EQ(line.speed, 20);
  EXPECT_FALSE(line.quit);
  EXPECT_TRUE(line.quiet);
  EXPECT_FALSE(line.keep_going);
  EXPECT_EQ(line.colour, CommandLine::Colour::always);
  EXPECT_EQ(line.connect_timeout, 3);
}

TEST(CommandLineTest, GoingOnAfterAFailMayBeSaidThoughItIsTheRule) {
  EXPECT_TRUE(parse_command_line({"b", "run", "rtc", "--keep-going"}).keep_going);
}

TEST(CommandLineTest, AMonitorHasLimits) {
  const CommandLine line = parse_command_line({"b", "monitor", "--for", "12", "--records", "3"});
  EXPECT_EQ(line.command, CommandLine::Command::monitor);
  EXPECT_EQ(line.limits.seconds, 12);
  EXPECT_EQ(line.limits.records, 3U);
  EXPECT_FALSE(parse_command_line({"b", "monitor"}).limits.seconds);
}

TEST(CommandLineTest, AParameterWithoutATestThatTakesItIsRefused) {
  EXPECT_THROW(parse_command_line({"b", "run", "rtc", "--param", "5"}), UsageError);
  EXPECT_EQ(parse_command_line({"b", "run", "rtc", "set-sub-6484", "--param", "5"}).parameter, 5);
  EXPECT_EQ(parse_command_line({"b", "run", "4711", "--param", "5"}).parameter, 5);
}

TEST(CommandLineTest, WhatMakesNoSenseIsRefused) {
  const std::vector<Words> lines{
      {},
      {"b"},
      {"run", "rtc"},
      {"monitor"},
      {"b", "dance"},
      {"b", "run", "clock"},
      {"b", "run", "255"},
      {"b", "run", "-15x"},
      {"b", "run", "rtc", "--what"},
      {"b", "run", "rtc", "--timeout"},
      {"b", "run", "rtc", "--timeout", "0"},
      {"b", "run", "rtc", "--timeout", "-5"},
      {"b", "run", "rtc", "--timeout", "nan"},
      {"b", "run", "rtc", "--timeout", "inf"},
      {"b", "run", "rtc", "--speed", "fast"},
      {"b", "run", "rtc", "--color", "perhaps"},
      {"b", "run", "rtc", "--param", "x"},
      {"b", "run", "rtc", "--json", "/no/such/directory/report"},
      {"b", "run", "rtc", "--junit", "/dev/null"},
      {"b", "monitor", "--records", "0"},
      {"b", "monitor", "rtc"},
      {"b:99999", "run", "rtc"},
  };
  for (const Words& words : lines) {
    std::string shown;
    for (const std::string& word : words) shown += word + " ";
    EXPECT_THROW(parse_command_line(words), UsageError) << shown;
  }
}

TEST(CommandLineTest, HelpIsThereForTheProgramAndForEachCommand) {
  for (const Words& words : {Words{"--help"}, Words{"b", "run", "--help"}, Words{"b", "monitor", "-h"}}) {
    const CommandLine line = parse_command_line(words);
    EXPECT_EQ(line.command, CommandLine::Command::help);
    EXPECT_NE(line.help.find("Usage:"), std::string::npos);
    EXPECT_NE(line.help.find("Exit codes:"), std::string::npos);
  }
}

}  // namespace
