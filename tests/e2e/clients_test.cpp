// Station clients and boards as an operator starts them: side by side, one behind another, and interrupted.
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>

#include "tests/e2e/on_server.h"
#include "tests/e2e/station_client.h"

namespace {

using namespace std::chrono_literals;

// ---- several boards -------------------------------------------------------------------------------------

/// Lets the time pass that a clock test takes, once it has begun.
void pass_clock_test(BoardUnderTest& board) {
  board.lines_until("t1_sdk_rtc_test");
  board.advance(6s);
}

TEST(SideBySideTest, ThreeBoardsAreTestedByThreeClientsAndAStoppedClockFailsItsBoardOnly) {
  BoardUnderTest loop({"--board", "loop"});
  BoardUnderTest rkd({"--board", "rkd2", "--fault", "rtc stopped"});
  BoardUnderTest k({"--board", "k"});
  const std::array<BoardUnderTest*, 3> boards = {&loop, &rkd, &k};
  for (BoardUnderTest* board : boards) board->settle();
  StationClient first(loop.address(), {"1536"});
  StationClient second(rkd.address(), {"1536"});
  StationClient third(k.address(), {"1536"});
  for (BoardUnderTest* board : boards) pass_clock_test(*board);
  for (BoardUnderTest* board : boards) pass_leave(*board);
  for (StationClient* client : {&first, &second, &third}) {
    const bool passes = client != &second;
    EXPECT_EQ(client->exit_status(), passes ? 0 : 1);
    const nlohmann::json tests = client->report().at("tests");
    ASSERT_EQ(tests.size(), 1U);
    EXPECT_EQ(tests.at(0).at("code"), 1536);
    EXPECT_EQ(tests.at(0).at("result"), passes ? "passed" : "failed");
    EXPECT_EQ(tests.at(0).at("board_name"), "测试RTC时钟");
    EXPECT_EQ(tests.at(0).at("description"), "测试成功");
  }
}

TEST(SideBySideTest, ABoardWhoseTimeRunsByItselfIsTestedAndRestarts) {
  BoardUnderTest board({"--pace", "scaled", "--speed", "20"});
  StationClient client(board.address(), {"7426", "-15", "--wait", "10"});
  EXPECT_EQ(client.exit_status(), 0);
  EXPECT_EQ(client.report().at("summary").at("passed"), 2);
  EXPECT_EQ(board.exit_status(), 0);
  EXPECT_EQ(board.remaining_lines().back(), "boardsim: the board restarts");
}

TEST(SideBySideTest, AStationPlaysThePartnerOnASerialDeviceOfThePc) {
  const OwnDirectory directory;
  const std::string device = directory.file("uart1");
  BoardUnderTest board({"--uart1", device});
  Station station = board.greeted_station();
  station.request(1024);
  board.advance(6s);
  board.lines_until("车检器检测线程已经停止，请在60秒内输入485测试数据");
  Child partner({T1STATION_PROGRAM, "rs485-echo", device, "--timeout", "60"});
  board.lines_until("<t1>第一次开始发送数据:d0 1 6 f 11 62 80 32 34 12 78 56 9a bc 75");
  board.advance(10ms);  // in which the echo's bits go over the line
  EXPECT_EQ(station.next_result().value, "Pass");
  EXPECT_EQ(partner.exit_status(), 0);
  EXPECT_TRUE(partner.rest().ends_with("the echo is right\n"));
}

// ---- a board that serves another client -----------------------------------------------------------------

constexpr char kBusy[] = "the board is busy with another station";

class BusyBoardTest : public OnServer {
 protected:
  /// A client whose test runs.
  StationClient& occupy() {
    StationClient& client = first_.emplace(board.address(), std::vector<std::string>{"rtc"});
    board.lines_until("t1_sdk_rtc_test");
    return client;
  }
  void finish_first() {
    board.advance(6s);
    board.lines_until("recv q command");
  }
  std::optional<StationClient> first_;
};

TEST_F(BusyBoardTest, TheSecondClientWaitsLongerThanForAConnectionAndIsServedAfterTheFirst) {
  StationClient& first = occupy();
  StationClient second(board.address(), {"temp", "--connect-timeout", "0.5"});
  second.err_until(kBusy);
  finish_first();
  board.advance(1s);
  pass_leave(board);
  EXPECT_EQ(first.exit_status(), 0);
  EXPECT_EQ(second.exit_status(), 0);
  EXPECT_FALSE(board.has_ended());
}

TEST_F(BusyBoardTest, AClientWhoseOperatorInsistsLeavesAndSaysThatTheServerEnds) {
  StationClient& first = occupy();
  StationClient second(board.address(), {"temp"});
  second.err_until(kBusy);
  second.signal(SIGINT);
  second.err_until("stop once more to leave all the same");
  second.signal(SIGINT);
  second.err_until("the board's server ends when it comes to this connection");
  EXPECT_EQ(second.exit_status(), 2);
  EXPECT_EQ(second.report().at("summary").at("interrupted"), 1);
  finish_first();
  board.advance_to_its_end(1s);
  EXPECT_EQ(board.exit_status(), 255) << "as it said";
  EXPECT_EQ(first.exit_status(), 0);
}

// ---- what the PC refuses --------------------------------------------------------------------------------

TEST(StandardOutputTest, ThatCannotBeWrittenIsNoticed) {
  for (const std::string redirection : {">/dev/full", ">&-"}) {
    Child client({"/bin/sh", "-c", "\"$0\" list " + redirection, T1STATION_PROGRAM});
    EXPECT_EQ(client.exit_status(), 7) << redirection;
    EXPECT_EQ(client.err(), "t1station: standard output cannot be written\n") << redirection;
  }
}

TEST(StandardOutputTest, ThatIsClosedDoesNotSendTheResultsToTheBoard) {
  BoardUnderTest board;
  board.settle();
  Child client({"/bin/sh", "-c", "\"$0\" $1 run temp >&-", T1STATION_PROGRAM, board.address()});
  pass_leave(board);
  EXPECT_EQ(client.exit_status(), 7);
}

TEST(DescriptorTest, AClientThatThePcLetsOpenNothingSaysSoAndGivesExitCode6) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer itself needs a pipe to look at an object";
#endif
  Child client({"/bin/sh", "-c", "exec 3>&-; ulimit -n 4; exec \"$0\" 127.0.0.1 run rtc", T1STATION_PROGRAM});
  EXPECT_EQ(client.exit_status(), 6);
  EXPECT_EQ(client.err(), "t1station: pipe: Too many open files\n");
}

}  // namespace
