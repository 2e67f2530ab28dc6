// Two station clients and one board, which serves one station at a time.
#include <chrono>
#include <csignal>
#include <optional>

#include "tests/e2e/on_server.h"
#include "tests/e2e/station_client.h"

namespace {

using namespace std::chrono_literals;

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
  StationClient third(board.address(), {"temp"});
  pass_leave(board);
  EXPECT_EQ(third.exit_status(), 0);
}

TEST_F(BusyBoardTest, AClientThatIsAskedOnceToLeaveWaitsForItsGreetingSoThatTheServerLives) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    StationClient& first = occupy();
    StationClient second(board.address(), {"temp"});
    second.err_until(kBusy);
    second.signal(number);
    second.err_until("leaving now would end the board's server");
    finish_first();
    board.advance(1s);
    pass_leave(board);
    EXPECT_EQ(second.exit_status(), 2);
    EXPECT_EQ(second.report().at("summary").at("interrupted"), 1) << "the board was greeted and left free";
    EXPECT_EQ(first.exit_status(), 0);
    EXPECT_FALSE(board.has_ended());
  }
}

TEST_F(BusyBoardTest, AClientWhoseOperatorInsistsLeavesAndSaysThatTheServerEnds) {
  StationClient& first = occupy();
  StationClient second(board.address(), {"temp"});
  second.err_until(kBusy);
  second.signal(SIGINT);
  second.err_until("interrupt once more to leave all the same");
  second.signal(SIGINT);
  second.err_until("the board's server ends when it comes to this connection");
  EXPECT_EQ(second.exit_status(), 2);
  EXPECT_EQ(second.report().at("summary").at("interrupted"), 1);
  finish_first();
  board.advance_to_its_end(1s);
  EXPECT_EQ(board.exit_status(), 255) << "as it said";
  EXPECT_EQ(first.exit_status(), 0);
}

TEST_F(BusyBoardTest, AMonitorWaitsForItsGreetingToo) {
  StationClient& first = occupy();
  Child monitor(
      {T1STATION_PROGRAM, board.address(), "monitor", "--records", "1", "--connect-timeout", "0.5"});
  EXPECT_NE(monitor.next_err_line("the board is busy").find(kBusy), std::string::npos);
  finish_first();
  board.advance(1s);
  pass_leave(board);
  EXPECT_EQ(monitor.exit_status(), 0);
  EXPECT_EQ(first.exit_status(), 0);
  EXPECT_FALSE(board.has_ended());
}

TEST_F(BusyBoardTest, AClosedTerminalCostsNoReport) {
  StationClient& client = occupy();
  client.signal(SIGHUP);
  EXPECT_EQ(client.exit_status(), 2);
  EXPECT_EQ(client.report().at("summary").at("interrupted"), 1);
  board.advance(6s);
}

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

}  // namespace
