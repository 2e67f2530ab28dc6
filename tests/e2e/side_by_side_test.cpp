// Boards, launchers and station clients as an operator starts them.
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "tests/e2e/on_server.h"
#include "tests/e2e/station_client.h"

namespace {

using namespace std::chrono_literals;

/// Lets the time pass that a clock test takes, once it has begun.
void pass_clock_test(BoardUnderTest& board) {
  board.lines_until("t1_sdk_rtc_test");
  board.advance(6s);
}

nlohmann::json only_test(StationClient& client) {
  const nlohmann::json tests = client.report().at("tests");
  EXPECT_EQ(tests.size(), 1U);
  return tests.at(0);
}

TEST(SideBySideTest, ThreeBoardsAreTestedByThreeStations) {
  BoardUnderTest loop({"--board", "loop"});
  BoardUnderTest rkd({"--board", "rkd2"});
  BoardUnderTest k({"--board", "k"});
  const std::array<BoardUnderTest*, 3> boards = {&loop, &rkd, &k};
  EXPECT_EQ((std::set<std::string>{loop.address(), rkd.address(), k.address()}).size(), 3U);
  for (BoardUnderTest* board : boards) board->settle();

  StationClient first(loop.address(), {"1536"});
  StationClient second(rkd.address(), {"1536"});
  StationClient third(k.address(), {"1536"});
  for (BoardUnderTest* board : boards) pass_clock_test(*board);
  for (BoardUnderTest* board : boards) pass_leave(*board);
  for (StationClient* client : {&first, &second, &third}) {
    EXPECT_EQ(client->exit_status(), 0);
    const nlohmann::json test = only_test(*client);
    EXPECT_EQ(test.at("code"), 1536);
    EXPECT_EQ(test.at("result"), "passed");
    EXPECT_EQ(test.at("board_name"), "测试RTC时钟");
    EXPECT_EQ(test.at("description"), "测试成功");
  }
}

TEST(SideBySideTest, AStoppedClockOfOneBoardFailsThatBoardOnly) {
  BoardUnderTest healthy;
  BoardUnderTest stopped({"--fault", "rtc stopped"});
  healthy.settle();
  stopped.settle();
  StationClient first(healthy.address(), {"1536"});
  StationClient second(stopped.address(), {"1536"});
  pass_clock_test(healthy);
  pass_clock_test(stopped);
  pass_leave(healthy);
  pass_leave(stopped);
  EXPECT_EQ(first.exit_status(), 0);
  EXPECT_EQ(second.exit_status(), 1);
  const nlohmann::json test = only_test(second);
  EXPECT_EQ(test.at("result"), "failed");
  EXPECT_EQ(test.at("description"), "测试成功");
}

TEST(SideBySideTest, AnUnknownCodeEndsTheClientWithATimeOut) {
  BoardUnderTest board;
  board.settle();
  StationClient client(board.address(), {"1"}, "0.2");
  EXPECT_EQ(client.exit_status(), 6);
  EXPECT_EQ(only_test(client).at("result"), "timed_out");
}

TEST(SideBySideTest, ABoardThatIsGoneIsUnreachable) {
  std::string address;
  {
    const BoardUnderTest board;
    address = board.address();
  }
  StationClient client(address, {"1536"});
  EXPECT_EQ(client.exit_status(), 6);
}

TEST(SideBySideTest, ABoardThatRestartsPassesAndEnds) {
  BoardUnderTest board;
  board.settle();
  StationClient client(board.address(), {"7426", "-15"});
  board.lines_until("t1_sdk_centaurus_test");
  board.advance_to_its_end(1s);
  EXPECT_EQ(board.exit_status(), 0);
  EXPECT_EQ(client.exit_status(), 0);
  EXPECT_EQ(client.report().at("summary").at("passed"), 2);
}

TEST(SideBySideTest, ABoardWhoseTimeRunsByItselfIsTestedAndRestarts) {
  BoardUnderTest board({"--pace", "scaled", "--speed", "20"});
  StationClient client(board.address(), {"7426", "-15", "--wait", "10"});
  EXPECT_EQ(client.exit_status(), 0);
  EXPECT_EQ(board.exit_status(), 0);
  const Lines lines = board.remaining_lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "boardsim: the board restarts");
}

TEST(SideBySideTest, AClientThatThePcLetsOpenNothingSaysSoAndGivesExitCode6) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer itself needs a pipe to look at an object";
#endif
  Child client({"/bin/sh", "-c", "exec 3>&-; ulimit -n 4; exec \"$0\" 127.0.0.1 run rtc", T1STATION_PROGRAM});
  EXPECT_EQ(client.exit_status(), 6);
  EXPECT_EQ(client.err(), "t1station: pipe: Too many open files\n");
}

// ---- launcher -------------------------------------------------------------------------------------------

struct Family {
  std::string name;
  std::string code;
  std::string alarm_outputs;
};

const std::vector<Family> kFamilies = {
    {"normal", "0x9601", "2"}, {"k", "0x960b", "2"},          {"63xx", "0x27201", "2"},
    {"68xx", "0x27252", "2"},  {"68xx-fpga", "0x27251", "2"}, {"6444", "0x96c0", "7"},
    {"6444-j", "0x96c0", "2"}, {"loop", "0x96c1", "2"},       {"loop-c", "0x96c4", "2"},
    {"ma", "0xa6001", "2"},    {"65xx", "0x9c0a", "2"},       {"rkd1", "0xa60a0", "2"},
    {"rkd2", "0xa60a3", "2"},  {"65xx-level", "0x9c0a", "2"}, {"6455", "0x9603", "2"},
    {"6485", "0x9605", "2"},   {"6484", "0x9604", "2"},
};

TEST(LaunchedBoardTest, TheListNamesEveryFamilyWithItsCode) {
  Child launcher({BOARDSIM_PROGRAM, "--board", "list"});
  EXPECT_EQ(launcher.exit_status(), 0);
  const std::string list = launcher.rest();
  for (const Family& family : kFamilies) {
    const std::regex line(
        "(^|\n) *" + family.name + " +" + family.code + " +" + family.alarm_outputs + " +[^\n]+",
        std::regex::icase);
    EXPECT_TRUE(std::regex_search(list, line)) << family.name << " in\n" << list;
  }
  EXPECT_EQ(launcher.err(), "");
}

TEST(LaunchedBoardTest, TheFirstLineNamesBoardCodeAndAddress) {
  BoardUnderTest board({"--board", "loop"});
  EXPECT_TRUE(std::regex_match(board.announcement(),
                               std::regex("boardsim: board loop \\(0x96c1\\) at 127\\.[0-9.]+:36001")))
      << board.announcement();
}

TEST(LaunchedBoardTest, EveryFamilyServesAStation) {
  for (const Family& family : kFamilies) {
    SCOPED_TRACE(family.name);
    BoardUnderTest board({"--board", family.name});
    Station station(board);
    station.take_greeting();
    station.request(7426);
    station.next_record();
  }
}

}  // namespace
