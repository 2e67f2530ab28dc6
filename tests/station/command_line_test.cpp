// Command lines, right and wrong.
#include "station/app/command_line.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "station/text/errors.h"
#include "tests/harness/own_directory.h"
#include "version/version.h"

namespace {

using t1station::CommandLine;
using t1station::parse_command_line;
using t1station::UsageError;
using Words = std::vector<std::string>;
using Codes = std::vector<std::int32_t>;

Words split(const std::string& line) {
  std::istringstream words(line);
  return {std::istream_iterator<std::string>(words), {}};
}

std::string refusal_of(const Words& words) {
  try {
    parse_command_line(words);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "not refused";
}

Codes codes_of(const Words& words) {
  Codes codes;
  for (const t1station::WantedTest& test : parse_command_line(words).tests) codes.push_back(test.code);
  return codes;
}

TEST(CommandLineTest, TheListNeedsNoBoard) {
  EXPECT_EQ(parse_command_line({"list"}).command, CommandLine::Command::list);
  EXPECT_EQ(refusal_of({"board", "list"}), "list needs no board: leave out board");
  EXPECT_EQ(refusal_of({"board", "rs485-echo", "/dev/ttyUSB0"}),
            "rs485-echo needs no board: leave out board");
}

TEST(CommandLineTest, ARunNamesABoardAndTests) {
  const CommandLine line = parse_command_line({"192.0.2.7", "run", "rtc", "14592", "0x1D02"});
  EXPECT_EQ(line.command, CommandLine::Command::run);
  ASSERT_TRUE(line.board);
  EXPECT_EQ(line.board->text(), "192.0.2.7:36001");
  EXPECT_EQ(codes_of({"192.0.2.7", "run", "rtc", "14592", "0x1D02"}), (Codes{1536, 14592, 7426}));
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

TEST(CommandLineTest, TheOptionsOfACommandAreRead) {
  const CommandLine line = parse_command_line(
      split("b:7 run 4711 --param -120 --timeout 2.5 --speed 20 --no-quit --quiet --fail-fast --color always "
            "--connect-timeout 3 --greeting-wait 600 --wait 90"));
  EXPECT_EQ(line.tests.at(0).parameter, -120);
  EXPECT_EQ(line.timeout, 2.5);
  EXPECT_EQ(line.speed, 20);
  EXPECT_FALSE(line.quit);
  EXPECT_TRUE(line.quiet);
  EXPECT_FALSE(line.keep_going);
  EXPECT_EQ(line.color, CommandLine::Color::always);
  EXPECT_EQ(line.connect_timeout, 3);
  EXPECT_EQ(line.patience.greeting, 600);
  EXPECT_EQ(line.patience.absence, 90);
  EXPECT_TRUE(parse_command_line({"b", "run", "rtc", "--keep-going"}).keep_going) << "the rule may be said";
  const CommandLine monitor = parse_command_line(split("b monitor --for 12 --records 3 --greeting-wait 20"));
  EXPECT_EQ(monitor.command, CommandLine::Command::monitor);
  EXPECT_EQ(monitor.limits.seconds, 12);
  EXPECT_EQ(monitor.limits.records, 3U);
  EXPECT_EQ(monitor.patience.greeting, 20);
  EXPECT_FALSE(parse_command_line({"b", "monitor"}).limits.seconds);
  EXPECT_EQ(parse_command_line({"b", "monitor"}).patience.greeting, 300);
  EXPECT_EQ(parse_command_line({"b", "run"}).patience.greeting, 300);
  const CommandLine echo = parse_command_line({"rs485-echo", "/dev/ttyUSB0"});
  EXPECT_EQ(echo.command, CommandLine::Command::rs485_echo);
  EXPECT_EQ(echo.echo.device, "/dev/ttyUSB0");
  EXPECT_EQ(echo.echo.speed, 38'400);
  EXPECT_EQ(echo.echo.timeout, 5);
  EXPECT_EQ(parse_command_line({"rs485-echo", "x", "--timeout", "1.5"}).echo.timeout, 1.5);
  EXPECT_EQ(parse_command_line({"--version"}).help, "t1station " + std::string(version::text()) + "\n");
}

TEST(CommandLineTest, AFamilyStandsForAllItsTestsWithItsUsualVoltage) {
  const std::vector<t1station::WantedTest> tests = parse_command_line({"b", "run", "--family", "6484"}).tests;
  EXPECT_EQ(tests.front().code, 520);
  EXPECT_EQ(tests.back().code, -15);
  const auto set = std::ranges::find(tests, 10240, &t1station::WantedTest::code);
  ASSERT_NE(set, tests.end());
  EXPECT_EQ(set->parameter, 950);
  EXPECT_EQ(std::ranges::count(tests, 12032, &t1station::WantedTest::code), 0) << "no board passes it";
}

TEST(CommandLineTest, AFamilyThatThereIsNotIsRefusedWithThoseThatThereAre) {
  for (const Words& words : {Words{"b", "run", "--family", "645"}, Words{"list", "--family", "645"}}) {
    try {
      parse_command_line(words);
      FAIL();
    } catch (const UsageError& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr("rkd2 6455 6485 6484. Did you mean 6455"));
    }
  }
  EXPECT_THROW(parse_command_line({"b", "run", "--family", "k", "rtc"}), UsageError);
}

TEST(CommandLineTest, EachTestMayHaveAParameterOfItsOwnAndTheOthersShareOne) {
  const auto parameters = [](const Words& words) {
    std::vector<std::optional<std::int32_t>> found;
    for (const t1station::WantedTest& test : parse_command_line(words).tests) found.push_back(test.parameter);
    return found;
  };
  using Parameters = std::vector<std::optional<std::int32_t>>;
  EXPECT_EQ(parameters({"b", "run", "set-sub-6455=650", "rtc", "9728=600", "0x2600=1019", "set-sub-6455",
                        "-p", "800"}),
            (Parameters{650, std::nullopt, 600, 1019, 800}));
  EXPECT_EQ(parameters({"b", "run", "4711=-5", "4712", "-20=7", "--param", "99999999"}),
            (Parameters{-5, 99999999, 7}));
}

TEST(CommandLineTest, AVoltageThatABoardDoesNotKnowIsRefusedWithThoseThatItDoes) {
  for (const std::string voltage : {"65", "599", "1020", "1200", "99999999", "-650", "0"}) {
    EXPECT_EQ(refusal_of({"b", "run", "set-sub-6485", "--param", voltage}),
              "set-sub-6485 takes 600 to 1019 hundredths of a volt (6.00 V to 10.19 V), not " + voltage +
                  ", for which the board would set a voltage of its own");
  }
  EXPECT_EQ(refusal_of({"b", "run", "10240=809"}).substr(0, 60),
            "set-sub-6484 takes 810 to 1389 hundredths of a volt (8.10 V ");
  EXPECT_EQ(refusal_of({"b", "run", "set-sub-6484=810", "set-sub-6484=1389"}), "not refused");
  EXPECT_NE(refusal_of({"b", "run", "set-sub-6484=1390"}), "not refused");
  EXPECT_NE(refusal_of({"b", "run", "set-sub-6455", "set-sub-6484", "--param", "650"}), "not refused")
      << "one voltage for two models";
}

TEST(CommandLineTest, AVoltageInVoltsIsRefusedWithItsUnit) {
  const std::string unit = "is no whole number of hundredths of a volt: write ";
  EXPECT_EQ(refusal_of({"b", "run", "9728", "--param", "6.50"}), "\"6.50\" " + unit + "650 for 6.50 V");
  EXPECT_EQ(refusal_of({"b", "run", "9728=7.2V"}), "\"7.2V\" " + unit + "720 for 7.20 V");
  EXPECT_EQ(refusal_of({"b", "run", "9728="}), "\"\" " + unit + "650 for 6.50 V");
}

TEST(CommandLineTest, AVoltageIsNeededWhereOneIsSetAndRefusedElsewhere) {
  EXPECT_EQ(refusal_of({"b", "run", "set-sub-6455"}),
            "set-sub-6455 needs a voltage, 600 to 1019 hundredths of a volt (6.00 V to 10.19 V): "
            "set-sub-6455=600, or "
            "--param 600");
  EXPECT_EQ(refusal_of({"b", "run", "rtc=650"}),
            "rtc takes no parameter; only the set-sub tests do, and codes outside the list");
  const std::string unused =
      "--param is for the tests that set a substrate voltage, and none is asked for without a voltage of its "
      "own";
  EXPECT_EQ(refusal_of({"b", "run", "rtc", "--param", "650"}), unused);
  EXPECT_EQ(refusal_of({"b", "run", "set-sub-6455=650", "--param", "650"}), unused);
}

TEST(CommandLineTest, OneFileForTwoReportsIsRefusedHoweverItIsSpelled) {
  const OwnDirectory directory;
  const std::string folder = directory.path().string();
  std::filesystem::create_directory(folder + "/sub");
  std::filesystem::create_directory_symlink(folder, folder + "/link");
  std::ofstream(folder + "/old") << "x";
  std::filesystem::create_symlink(folder + "/old", folder + "/alias");
  const auto refused = [&](const std::string& json, const std::string& junit) {
    return refusal_of({"b", "run", "rtc", "--json", folder + json, "--junit", folder + junit}) !=
           "not refused";
  };
  EXPECT_TRUE(refused("/x", "/x"));
  EXPECT_TRUE(refused("/x", "/sub/../x"));
  EXPECT_TRUE(refused("/x", "/link/x"));
  EXPECT_TRUE(refused("/old", "/alias"));
  EXPECT_FALSE(refused("/x", "/sub/x"));
  EXPECT_FALSE(refused("/x", "/y"));
}

TEST(CommandLineTest, AWordThatNobodyKnowsIsRefusedWithThoseThatAreMeant) {
  const std::string commands =
      "there are run, monitor, list, line, plan, records, stats, users and rs485-echo (t1station --help)";
  EXPECT_EQ(refusal_of({"b", "runn", "rtc"}), "\"runn\" is no command; " + commands + ". Did you mean run?");
  EXPECT_EQ(refusal_of({"b", "rtc"}), "\"rtc\" is no command; " + commands);
  EXPECT_EQ(refusal_of({"b"}), "what is to be done with b? " + commands);
  EXPECT_EQ(refusal_of({}), "which command? " + commands);
  EXPECT_EQ(refusal_of({"b", "run", "clock"}),
            "there is no test \"clock\"; \"t1station list\" shows them all. Did you mean rtc?");
  EXPECT_EQ(
      refusal_of({"b", "run", "set-sub-6454=650"}),
      "there is no test \"set-sub-6454\"; \"t1station list\" shows them all. Did you mean set-sub-6455, "
      "set-sub-6484 or set-sub-6485?");
  EXPECT_EQ(
      refusal_of({"b", "run", "rtc", "--jason", "x"}),
      "\"--jason\" is no option of run; \"t1station run --help\" shows what there is. Did you mean --json?");
  EXPECT_EQ(refusal_of({"b", "monitor", "rtc"}),
            "\"rtc\" is not expected behind monitor; \"t1station monitor --help\" shows what there is");
  EXPECT_EQ(refusal_of({"b", "run", "rtc", "--color", "perhaps"}),
            "--color: \"perhaps\" is none of auto, always and never");
}

TEST(CommandLineTest, WhatMakesNoSenseIsRefused) {
  for (const char* line : {"run rtc",
                           "monitor",
                           "b run 255",
                           "b run -15x",
                           "b run rtc --timeout",
                           "b run rtc --timeout 0",
                           "b run rtc --timeout -5",
                           "b run rtc --timeout nan",
                           "b run rtc --timeout inf",
                           "b run rtc --speed fast",
                           "b run rtc --color 1",
                           "b run rtc --keep-going --fail-fast",
                           "b run rtc --greeting-wait 0",
                           "b run rtc --json /no/such/directory/report",
                           "b run rtc --junit /dev/null",
                           "b run rtc --json= --quiet",
                           "b monitor --records 0",
                           "b monitor --records 99999999999999999999",
                           "b:99999 run rtc",
                           "rs485-echo",
                           "rs485-echo a b",
                           "rs485-echo a --speed",
                           "rs485-echo a --speed 0",
                           "rs485-echo a --speed 1",
                           "rs485-echo a --speed -9600",
                           "rs485-echo a --speed fast",
                           "rs485-echo a --timeout 0",
                           "rs485-echo a --timeout nan",
                           "rs485-echo a --json x"}) {
    EXPECT_THROW(parse_command_line(split(line)), UsageError) << line;
  }
  EXPECT_THROW(parse_command_line({"b", "run", "rtc", "--json", ""}), UsageError);
}

TEST(CommandLineTest, EachCommandHasAHelpOfItsOwnWhichNeedsNoBoard) {
  struct Case {
    Words words;
    std::string usage, exit_code;
  };
  const std::vector<Case> cases{
      {{"run", "--help"}, "Usage: t1station HOST run [", "1  a test failed"},
      {{"b", "run", "-h"}, "Usage: t1station HOST run [", "5  nothing selected"},
      {{"monitor", "--help"}, "Usage: t1station HOST monitor [", "0  a limit is reached"},
      {{"list", "--help"}, "Usage: t1station list [", "0  shown"},
      {{"rs485-echo", "--help"}, "Usage: t1station rs485-echo [", "6  no echo"},
      {{"--help"}, "Usage: t1station [", "t1station COMMAND --help"},
  };
  for (const Case& one : cases) {
    const CommandLine line = parse_command_line(one.words);
    EXPECT_EQ(line.command, CommandLine::Command::help);
    EXPECT_NE(line.help.find(one.usage), std::string::npos) << line.help;
    EXPECT_NE(line.help.find(one.exit_code), std::string::npos) << line.help;
  }
  EXPECT_EQ(parse_command_line({"rs485-echo", "--help"}).help.find("nothing selected"), std::string::npos);
}

TEST(CommandLineTest, TheExamplesOfEachHelpAreUnderstood) {
  const std::string program = "  t1station ";
  int examples = 0;
  for (const char* command :
       {"", "list", "run", "monitor", "rs485-echo", "line", "line check", "plan check", "users add", "stats",
        "records check", "records list", "records suspect", "records show", "records head", "records export",
        "records release", "records forward", "records central init"}) {
    std::istringstream help(parse_command_line(split(std::string(command) + " --help")).help);
    std::string line;
    while (std::getline(help, line) && line != "Examples:") continue;
    while (std::getline(help, line)) {
      if (!line.starts_with(program)) continue;
      ++examples;
      EXPECT_EQ(refusal_of(split(line.substr(program.size(), line.find(" && ") - program.size()))),
                "not refused")
          << line;
    }
  }
  EXPECT_GE(examples, 20);
}

}  // namespace
