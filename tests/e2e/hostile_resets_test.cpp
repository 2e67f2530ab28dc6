// Stations that break the connection, at each point of a session.
#include <chrono>

#include "tests/e2e/hostile_station.h"

namespace {

using namespace std::chrono_literals;

using ResetTest = HostileStationTest;

// ---- during the greeting ------------------------------------------------------------------

/// What the board's sends meet when the connection breaks there.
class ResetDuringTheGreetingTest : public HostileStationTest, public ::testing::WithParamInterface<Lines> {};

TEST_P(ResetDuringTheGreetingTest, EndsTheServerSinceTheGreetingFails) {
  for (const std::string& fault : GetParam()) board.fault(fault);
  const Station station(board);
  EXPECT_EQ(board.exit_status(), 255);
  EXPECT_EQ(board.remaining_lines().back(), "send_start_info failed!");
}

INSTANTIATE_TEST_SUITE_P(BeforeAndInsideBannerAndMenu, ResetDuringTheGreetingTest,
                         ::testing::Values(Lines{"send #1 ECONNRESET"},
                                           Lines{"send #1 short 100", "send #2 EPIPE"},
                                           Lines{"send #2 ECONNRESET"},
                                           Lines{"send #2 short 100", "send #3 EPIPE"}));

TEST_F(ResetTest, AResetAmongTheFirstPromptsLeavesAWorkingServer) {
  for (int i = 0; i < 50; ++i) {
    Station station(board);
    station.next_record("the banner");
    EXPECT_EQ(station.next_record("the menu"), golden::kMenu);
    station.reset_at_once();  // the first prompt may be out, or on its way, or not yet made
  }
  expect_all_as_before();
}

// ---- around requests ------------------------------------------------------------------------

TEST_F(ResetTest, AResetBehindAnyByteOfTwoRequestsLeavesAWorkingServer) {
  const std::string requests = record_of(request_of(1)) + record_of(request_of(kTemperature));
  for (std::size_t sent = 0; sent <= requests.size(); ++sent) {
    Station station(board);
    station.take_greeting();
    station.send_at_once(requests.substr(0, sent));
    station.reset_at_once();
  }
  EXPECT_EQ(board.now(), 0s);
  expect_all_as_before();
}

TEST_F(ResetTest, AResetBehindAnyByteThatTheBoardHasReadEndsTheSessionAtOnce) {
  const std::string request = record_of(request_of(kTemperature));
  for (std::size_t sent = 0; sent < request.size(); ++sent) {
    Station station(board);
    station.take_greeting();
    station.send(request.substr(0, sent));
    board.advance(50s);
    station.reset_at_once();
  }
  EXPECT_EQ(board.now(), 50s * request.size()) << "the rest of the 100 seconds is not waited for";
  expect_all_as_before();
}

TEST_F(ResetTest, AResetBehindAReplyThatHasBeenReadOrNotLeavesAWorkingServer) {
  for (int i = 0; i < 50; ++i) {
    Station station(board);
    station.take_greeting();
    station.request(kTemperature);
    if (i % 2 == 0) {
      EXPECT_EQ(station.next_record(), golden::kTemperature);
    }
    station.reset_at_once();
  }
  EXPECT_EQ(board.now(), 0s);
  expect_all_as_before();
}

TEST_F(ResetTest, AResetInAnySecondOfTheFirstOfTwoRequestsInAPacketEndsTheSessionBehindIt) {
  for (int second = 0; second <= 10; ++second) {
    Station station(board);
    station.take_greeting();
    station.send(record_of(request_of(kLight)) + record_of(request_of(kTemperature)));
    board.advance(std::chrono::seconds(second));
    station.reset_at_once();
    board.advance(std::chrono::seconds(10 - second));
  }
  EXPECT_EQ(board.now(), 110s);
  expect_all_as_before();
}

TEST_F(ResetTest, AResetInAnySecondOfATestLeavesAWorkingServer) {
  for (int second = 0; second <= 11; ++second) {
    Station station(board);
    station.take_greeting();
    station.request(kLight);
    board.advance(std::chrono::seconds(second));
    station.reset_at_once();
    board.advance(std::chrono::seconds(12 - second));
  }
  EXPECT_EQ(board.now(), 144s);
  expect_all_as_before();
}

TEST_F(ResetTest, AResetInTheSecondBehindTheQuitRequestDoesNotShortenIt) {
  for (const Time when : {Time(0us), Time(500ms), Time(999999us)}) {
    const Time start = board.now();
    {
      Station station(board);
      station.take_greeting();
      station.request(kQuit);
      board.advance(when);
      station.reset();
    }
    Station next(board);
    board.advance(start + 999999us - board.now());
    EXPECT_EQ(next.pending(), Records());
    board.advance(1us);
    next.take_greeting();
    next.reset();
  }
  EXPECT_EQ(board.now(), 3s);
  expect_all_as_before();
}

}  // namespace
