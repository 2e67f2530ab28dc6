// Base of the tests that need a running server on a healthy board.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/e2e/board_under_test.h"
#include "tests/e2e/station.h"

using Lines = std::vector<std::string>;
using Records = std::vector<std::string>;

/// The console line of one empty wait.
inline std::string empty_wait(int count) {
  return "tcp_readn time_out,goto loop! count =" + std::to_string(count) + "...";
}

inline constexpr char kHalfHourOver[] = "T1 exit cause' there is no operation over half an hour!";
/// What the main loop prints when it closes a connection; which error was met last does not matter then.
inline constexpr char kClosing[] = "send error,errno=*";

/// A server that waits for its first station; its console is read up to there.
class OnServer : public ::testing::Test {
 protected:
  OnServer() { board.expect_lines({"T1 started!"}); }

  /// Expects what the console says about a request of a known or unknown test.
  void expect_request(int code, Lines more) {
    Lines lines = {"RECV COMMANDS:", request_of(code)};
    lines.insert(lines.end(), more.begin(), more.end());
    board.expect_lines(lines);
  }

  /// A station that leaves at once: the idle counter stands at 18 afterwards, and no time has passed.
  void use_up_the_half_hour() {
    Station station(board);
    station.shut_down();
    station.records_until_close();
    board.lines_until(kHalfHourOver);
    board.expect_lines({kClosing});
  }

  BoardUnderTest board;
};
