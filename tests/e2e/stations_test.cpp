// Stations that follow one another, wait for one another, and vanish.
#include <chrono>

#include "tests/e2e/on_server.h"
#include "tests/harness/golden.h"

namespace {

using namespace std::chrono_literals;

/// Errno of a broken connection, as the board prints it.
constexpr char kBroken[] = "send error,errno=104";

class StationsTest : public OnServer {
 protected:
  /// A new station is greeted, prompted in time and tested.
  void expect_service() {
    Station station(board);
    const BoardUnderTest::Time start = board.now();
    station.take_greeting();
    station.request(1536);
    board.advance(6s);
    int prompts = 0;
    EXPECT_EQ(station.next_reply(prompts), golden::kClockPasses);
    EXPECT_EQ(prompts, 1);
    EXPECT_EQ(board.now(), start + 6s);
  }
  void quit(Station& station) {
    station.request(62208);
    board.advance(1s);
    EXPECT_EQ(station.records_until_close(), Records());
  }
};

TEST_F(StationsTest, TwoStationsAreServedOneAfterTheOther) {
  for (int i = 0; i < 2; ++i) {
    Station station(board);
    station.take_greeting();
    station.request(7426);
    EXPECT_EQ(station.next_record(), golden::kTemperature);
    quit(station);
  }
  EXPECT_EQ(board.trace_of(" accept ").size(), 2U);
}

TEST_F(StationsTest, AStationThatComesDuringAnotherWaitsAndIsThenGreeted) {
  Station first(board);
  first.take_greeting();
  Station second(board);
  board.advance(60s);
  EXPECT_EQ(second.pending(), Records());
  first.expect_prompts(12);
  first.request(7426);
  EXPECT_EQ(first.next_record(), golden::kTemperature);
  quit(first);
  second.take_greeting();
  EXPECT_EQ(board.trace_of("61.000000 accept ").size(), 1U);
  board.advance(5s);
  second.expect_prompts(1);
}

TEST_F(StationsTest, WhatAWaitingStationSentIsDoneWhenItsTurnComes) {
  Station first(board);
  first.take_greeting();
  Station second(board);
  second.request(7426);
  quit(first);
  int prompts = 0;
  EXPECT_NE(second.next_reply(prompts), "");
  EXPECT_EQ(second.next_reply(prompts), golden::kMenu);
  EXPECT_EQ(second.next_reply(prompts), golden::kTemperature);
}

TEST_F(StationsTest, TheNextStationDoesNotWaitForTheHeartbeatOfTheLast) {
  {
    Station first(board);
    first.take_greeting();
    board.advance(3s);
    first.reset();
  }
  Station second(board);
  second.take_greeting();
  EXPECT_EQ(board.now(), 3s) << "the last heartbeat would have slept until 5 s";
}

TEST_F(StationsTest, AHeartbeatNeverSendsToTheNextStation) {
  {
    Station first(board);
    first.take_greeting();
    board.advance(3s);
    first.reset();
  }
  Station second(board);
  second.take_greeting();
  board.advance(4999999us);  // the first one's prompt was due at 5 s
  EXPECT_EQ(second.pending(), Records());
  board.advance(1us);
  second.expect_prompts(1);
  board.advance(50s);
  second.expect_prompts(10);
  EXPECT_EQ(board.threads(), 1);
}

TEST_F(StationsTest, TheHeartbeatEndsWithItsConnection) {
  Station station(board);
  station.take_greeting();
  board.settle();
  EXPECT_EQ(board.threads(), 1);
  quit(station);
  board.settle();
  EXPECT_EQ(board.threads(), 0);
}

TEST_F(StationsTest, ABrokenConnectionIsClosedAtOnceAndTheNextStationIsServed) {
  Station station(board);
  station.take_greeting();
  station.reset();
  board.expect_lines({"HeartBeatThread started", kBroken, kBroken});
  EXPECT_EQ(board.now(), 0s);
  expect_service();
}

TEST_F(StationsTest, AStationThatVanishesDuringATestEndsNeitherTheTestNorTheServer) {
  {
    Station station(board);
    station.take_greeting();
    station.request(14592);
    board.advance(3s);
    station.reset();
  }
  board.advance(7s);
  board.lines_until("pwm.chan:0,duty:5000,period:10000");
  board.lines_until("pwm.chan:0,duty:0,period:10000");
  expect_service();
}

TEST_F(StationsTest, HeartbeatAndReplyIntoABrokenConnectionDoNotEndTheServer) {
  {
    Station station(board);
    station.take_greeting();
    station.request(14592);
    board.advance(3s);
    station.reset();
  }
  board.advance(2s);
  ASSERT_EQ(board.trace_of("5.000000 send station").size(), 1U);
  EXPECT_NE(board.trace_of("5.000000 send station").front().find("= -1 "), std::string::npos);
  board.advance(5s);
  ASSERT_EQ(board.trace_of("10.000000 send station").size(), 1U);
  EXPECT_NE(board.trace_of("10.000000 send station").front().find("= -1 EPIPE"), std::string::npos);
  expect_service();
}

TEST_F(StationsTest, ABreakThatTheHeartbeatMeetsFirstLooksLikeACloseAndUsesUpAllEighteenWaits) {
  {
    Station station(board);
    station.take_greeting();
    station.request(14592);
    board.advance(3s);
    station.reset();
  }
  board.advance(7s);  // the heartbeat meets the break at 5 s, the light test goes on until 10 s
  board.lines_until("pwm.chan:0,duty:0,period:10000");
  for (int wait = 0; wait < 18; ++wait) board.expect_lines({empty_wait(wait)});
  board.expect_lines({kHalfHourOver, kClosing});
  EXPECT_EQ(board.now(), 10s);
  EXPECT_EQ(board.trace_of("10.000000 recv station 4 = 0").size(), 18U);
}

TEST_F(StationsTest, AStationThatVanishesBeforeItsTurnEndsTheServer) {
  Station first(board);
  first.take_greeting();
  {
    Station second(board);
    second.reset();
  }
  first.request(62208);
  board.advance_to_its_end(1s);
  EXPECT_EQ(board.exit_status(), 255);
  const Lines lines = board.remaining_lines();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "send_start_info failed!");
}

TEST_F(StationsTest, TwoHundredBrokenConnectionsWhileHeartbeatsFlowLeaveAWorkingServer) {
  for (int i = 0; i < 200; ++i) {
    Station station(board);
    station.next_record("the banner");
    EXPECT_EQ(station.next_record("the menu"), golden::kMenu);
    switch (i % 4) {
      case 0:
        break;  // in the middle of the first prompt
      case 1:
        board.advance(5s);
        break;
      case 2:
        station.request(1536);
        break;
      default:
        station.request(14592);
        board.advance(4s);
    }
    station.reset_at_once();
    board.advance(10s);
  }
  EXPECT_LE(board.threads(), 1);
  expect_service();
}

}  // namespace
