// A board whose time runs by itself: stations, requests and heartbeats meet in ever different orders.
#include <chrono>

#include "tests/e2e/on_server.h"
#include "tests/harness/golden.h"

namespace {

using namespace std::chrono_literals;

/// A server on a board that runs fifty times as fast as usual: it prompts every tenth of a second.
class RunningTimeTest : public ::testing::Test {
 protected:
  void wait_for(BoardUnderTest::Time when) {
    while (board.now() < when) {
    }
  }
  /// Breaks the connection of a new station, which has its banner and menu then, at a moment that differs
  /// from station to station.
  void break_connection(int number) {
    Station station(board);
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
        station.send_at_once(record_of(request_of(7426)));
        break;
      default:
        wait_for(start + 4900ms + number * 1ms);  // from shortly before the second prompt to shortly after
    }
    station.reset_at_once();
  }

  BoardUnderTest board{{"--pace", "scaled", "--speed", "40"}};
};

TEST_F(RunningTimeTest, TwoHundredConnectionsThatBreakAtChangingMomentsLeaveAWorkingServer) {
  for (int i = 0; i < 200; ++i) break_connection(i);
  Station station(board);
  station.take_greeting();
  station.request(7426);
  int prompts = 0;
  EXPECT_EQ(station.next_reply(prompts), golden::kTemperature);
  EXPECT_EQ(board.threads(), 1);
  EXPECT_EQ(board.trace_of(" accept ").size(), 201U);
  EXPECT_EQ(board.trace_of("thread ended").size(), 200U);
  station.request(62208);
  station.records_until_close();
}

}  // namespace
