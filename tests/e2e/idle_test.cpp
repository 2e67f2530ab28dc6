// Half an hour without a request, and the counter behind it.
#include <chrono>

#include "tests/e2e/on_server.h"
#include "tests/harness/golden.h"

namespace {

using namespace std::chrono_literals;

using IdleTest = OnServer;

TEST_F(IdleTest, ASilentStationIsPromptedForHalfAnHourAndThenDropped) {
  Station station(board);
  station.take_greeting();
  board.expect_lines({"HeartBeatThread started"});
  for (int wait = 0; wait < 17; ++wait) {
    board.advance(100s);
    board.expect_lines({empty_wait(wait)});
    station.expect_prompts(20);
  }
  board.advance(99999999us);
  station.expect_prompts(19);
  EXPECT_FALSE(station.is_closed());
  board.advance(1us);
  board.expect_lines({empty_wait(17), kHalfHourOver, kClosing});
  EXPECT_EQ(board.now(), 1800s);
  // The last prompt falls due at the moment of the end: it may come or not.
  EXPECT_LE(station.records_until_close().size(), 1U);
}

TEST_F(IdleTest, EveryEmptyWaitTakesOneHundredSecondsExactly) {
  Station station(board);
  station.take_greeting();
  board.expect_lines({"HeartBeatThread started"});
  board.advance(99999999us);
  board.switch_off();
  board.exit_status();
  EXPECT_EQ(board.remaining_lines(), Lines()) << "no wait was over yet";
}

TEST_F(IdleTest, AStationThatDisconnectsUsesUpAllEighteenWaitsAtOnce) {
  Station station(board);
  station.shut_down();
  board.expect_lines({"HeartBeatThread started"});
  for (int wait = 0; wait < 18; ++wait) board.expect_lines({empty_wait(wait)});
  board.expect_lines({kHalfHourOver, kClosing});
  EXPECT_GE(station.records_until_close().size(), 2U) << "banner and menu";
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(IdleTest, ASilentStationAfterAnIdleTimeOutIsDroppedAfterItsFirstEmptyWait) {
  use_up_the_half_hour();
  Station station(board);
  station.take_greeting();
  board.advance(99999999us);
  station.expect_prompts(19);
  EXPECT_FALSE(station.is_closed());
  board.advance(1us);
  board.expect_lines({"HeartBeatThread started", empty_wait(18), kHalfHourOver, kClosing});
  EXPECT_LE(station.records_until_close().size(), 1U);
}

TEST_F(IdleTest, TheCounterGoesOnGrowingFromStationToStation) {
  use_up_the_half_hour();
  for (int count = 18; count < 21; ++count) {
    Station station(board);
    station.shut_down();
    board.expect_lines({"HeartBeatThread started", empty_wait(count), kHalfHourOver, kClosing});
    station.records_until_close();
  }
}

TEST_F(IdleTest, AKnownTestCodeStartsTheHalfHourAnew) {
  use_up_the_half_hour();
  Station station(board);
  station.take_greeting();
  station.request(7426);
  EXPECT_EQ(station.next_record(), golden::kTemperature);
  board.lines_until("温度传感器测得当前温度");
  for (int wait = 0; wait < 17; ++wait) {
    board.advance(100s);
    board.expect_lines({empty_wait(wait)});
    station.expect_prompts(20);
  }
  EXPECT_FALSE(station.is_closed());
  board.advance(100s);
  board.expect_lines({empty_wait(17), kHalfHourOver, kClosing});
}

TEST_F(IdleTest, AnUnknownTestCodeDoesNotStartTheHalfHourAnew) {
  use_up_the_half_hour();
  Station station(board);
  station.take_greeting();
  board.expect_lines({"HeartBeatThread started"});
  station.request(1);
  expect_request(1, {"testCode is invalid"});
  board.advance(100s);
  board.expect_lines({empty_wait(18), kHalfHourOver, kClosing});
  station.records_until_close();
}

TEST_F(IdleTest, TheQuitRequestDoesNotStartTheHalfHourAnew) {
  use_up_the_half_hour();
  {
    Station quitter(board);
    quitter.take_greeting();
    quitter.request(62208);
    board.advance(1s);
    quitter.records_until_close();
  }
  board.lines_until("recv q command");
  Station station(board);
  station.shut_down();
  board.expect_lines({"HeartBeatThread started", empty_wait(18), kHalfHourOver, kClosing});
}

TEST_F(IdleTest, WaitsBeforeAnUnknownCodeGoOnCountingAfterIt) {
  Station station(board);
  station.take_greeting();
  board.expect_lines({"HeartBeatThread started"});
  board.advance(250s);
  board.expect_lines({empty_wait(0), empty_wait(1)});
  station.request(4711);
  expect_request(4711, {"testCode is invalid"});
  board.advance(100s);
  board.expect_lines({empty_wait(2)});
}

TEST_F(IdleTest, ARequestInTheMiddleOfAWaitBeginsANewWaitOfOneHundredSeconds) {
  Station station(board);
  station.take_greeting();
  board.expect_lines({"HeartBeatThread started"});
  board.advance(99s);
  station.request(1);
  expect_request(1, {"testCode is invalid"});
  board.advance(99s);
  station.request(2);
  expect_request(2, {"testCode is invalid"});
  board.advance(100s);
  board.expect_lines({empty_wait(0)});
}

}  // namespace
