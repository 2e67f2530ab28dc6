// Base of the tests of finished programs: the server runs on a simulated board, both in a child process.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/e2e/board_under_test.h"
#include "tests/harness/golden.h"

using Lines = std::vector<std::string>;
using Records = std::vector<std::string>;

inline constexpr int kQuit = 62208;
inline constexpr int kTemperature = 7426;  ///< takes no time
inline constexpr int kLight = 14592;       ///< takes 10 seconds

inline constexpr char kHalfHourOver[] = "T1 exit cause' there is no operation over half an hour!";
/// What the main loop prints when it closes a connection; which error was met last does not matter then.
inline constexpr char kClosing[] = "send error,errno=*";

/// The console line of one empty wait.
inline std::string empty_wait(int count) {
  return "tcp_readn time_out,goto loop! count =" + std::to_string(count) + "...";
}

/// A server that waits for its first station on a healthy board, unless options of the launcher say
/// otherwise.
class OnServer : public ::testing::Test {
 protected:
  explicit OnServer(const std::vector<std::string>& launcher_options = {}) : board(launcher_options) {
    board.expect_lines({"T1 started!"});
  }

  /// A new station is greeted and tested in no time, and leaves with a reset.
  void expect_service() {
    const BoardUnderTest::Time start = board.now();
    Station station = board.greeted_station();
    expect_temperature(station);
    EXPECT_EQ(board.now(), start);
    station.reset();
  }
  /// The station asks for the temperature and has the reply.
  static void expect_temperature(Station& station) {
    station.request(kTemperature);
    EXPECT_EQ(station.next_reply(), golden::kTemperature);
  }
  /// The station leaves with the quit request, which takes a second and has no reply.
  void quit(Station& station) {
    station.request(kQuit);
    board.advance(std::chrono::seconds(1));
    EXPECT_EQ(station.records_until_close(), Records());
  }

  BoardUnderTest board;
};
