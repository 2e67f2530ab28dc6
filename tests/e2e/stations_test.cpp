// Stations that follow one another, wait for one another, and vanish.
#include <chrono>

#include "tests/e2e/on_server.h"

namespace {

using namespace std::chrono_literals;

using StationsTest = OnServer;

TEST_F(StationsTest, AStationThatComesDuringAnotherIsGreetedAndAnsweredWhenItsTurnComes) {
  Station first = board.greeted_station();
  Station second = board.station();
  second.request(kTemperature);
  board.advance(60s);
  EXPECT_EQ(second.bytes(), "");
  first.expect_prompts(12);
  expect_temperature(first);
  quit(first);
  second.next_record("the banner");
  EXPECT_EQ(second.next_reply(), golden::kMenu);
  EXPECT_EQ(second.next_reply(), golden::kTemperature);
  EXPECT_EQ(board.trace_of("61.000000 accept ").size(), 1U);
}

TEST_F(StationsTest, TheNextStationNeitherWaitsForTheHeartbeatOfTheLastNorHearsIt) {
  Station first = board.greeted_station();
  board.advance(3s);
  first.reset();
  Station second = board.greeted_station();
  EXPECT_EQ(board.now(), 3s) << "the last heartbeat would have slept until 5 s";
  board.advance(4999999us);
  EXPECT_EQ(second.bytes(), "");
  board.advance(1us);
  second.expect_prompts(1);
  board.advance(50s);
  second.expect_prompts(10);
  EXPECT_EQ(board.threads(), 1);
}

TEST_F(StationsTest, ABreakThatTheHeartbeatMeetsFirstLooksLikeACloseAndUsesUpAllEighteenWaits) {
  Station station = board.greeted_station();
  station.request(kLight);
  board.advance(3s);
  station.reset();
  board.advance(2s);
  ASSERT_EQ(board.trace_of("5.000000 send station").size(), 1U);
  EXPECT_NE(board.trace_of("5.000000 send station").front().find("= -1 "), std::string::npos);
  board.advance(5s);  // the light test goes on until 10 s
  ASSERT_EQ(board.trace_of("10.000000 send station").size(), 1U);
  EXPECT_NE(board.trace_of("10.000000 send station").front().find("= -1 EPIPE"), std::string::npos);
  board.lines_until("pwm.chan:0,duty:0,period:10000");
  for (int wait = 0; wait < 18; ++wait) board.expect_lines({empty_wait(wait)});
  board.expect_lines({kHalfHourOver, kClosing});
  EXPECT_EQ(board.now(), 10s);
  EXPECT_EQ(board.trace_of("10.000000 recv station 4 = 0").size(), 18U);
  expect_service();
}

TEST_F(StationsTest, AStationThatVanishesBeforeItsTurnEndsTheServer) {
  Station first = board.greeted_station();
  board.station().reset();
  first.request(kQuit);
  board.advance_to_its_end(1s);
  EXPECT_EQ(board.exit_status(), 255);
  EXPECT_EQ(board.remaining_lines().back(), "send_start_info failed!");
}

/// A board whose time runs by itself, forty times as fast as usual: it prompts eight times a second.
/// Stations, requests and heartbeats meet in ever different orders.
class RunningTimeTest : public OnServer {
 protected:
  RunningTimeTest() : OnServer({"--pace", "scaled", "--speed", "40"}) {}

  void wait_for(BoardUnderTest::Time when) {
    while (board.now() < when) {
    }
  }
  /// Breaks the connection of a new station, which has its banner and menu then, at a moment that differs
  /// from station to station.
  void break_connection(int number) {
    Station station = board.station();
    station.next_record("the banner");
    EXPECT_EQ(station.next_record("the menu"), golden::kMenu);
    const BoardUnderTest::Time start = board.now();
    switch (number % 4) {
      case 0:
        break;  // the heartbeat begins
      case 1:
        EXPECT_EQ(station.next_record("the first prompt"), golden::kPrompt);
        break;
      case 2:
        station.send_at_once(record_of(request_of(kTemperature)));
        break;
      default:
        wait_for(start + 4900ms + number * 1ms);  // from shortly before the second prompt to shortly after
    }
    station.reset_at_once();
  }
};

TEST_F(RunningTimeTest, TwoHundredConnectionsThatBreakAtChangingMomentsLeaveAWorkingServer) {
  for (int i = 0; i < 200; ++i) break_connection(i);
  Station station = board.greeted_station();
  expect_temperature(station);
  EXPECT_EQ(board.threads(), 1);
  EXPECT_EQ(board.trace_of(" accept ").size(), 201U);
  EXPECT_EQ(board.trace_of("thread ended").size(), 200U);
  station.request(kQuit);
  station.records_until_close();
}

}  // namespace
