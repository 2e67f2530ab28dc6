// The station client of a PC, run as an operator runs it.
#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/e2e/board_under_test.h"
#include "tests/e2e/child.h"

/// A station client that writes its results as JSON. Its waits for a reply are guards only.
class StationClient {
 public:
  StationClient(const std::string& address, const std::vector<std::string>& tests,
                const std::string& timeout = "60")
      : child_(command(address, tests, timeout, directory_.file("report.json"))) {}

  int exit_status() { return child_.exit_status(); }
  /// Takes lines of its standard error up to the first that contains `text`.
  void err_until(std::string_view text) {
    while (child_.next_err_line(text).find(text) == std::string::npos) continue;
  }
  void signal(int number) { child_.signal(number); }
  nlohmann::json report() {
    std::ifstream file(directory_.file("report.json"));
    return nlohmann::json::parse(file);
  }

 private:
  static std::vector<std::string> command(const std::string& address, const std::vector<std::string>& tests,
                                          const std::string& timeout, const std::string& file) {
    std::vector<std::string> words = {T1STATION_PROGRAM, address + ":36001", "run"};
    words.insert(words.end(), tests.begin(), tests.end());
    words.insert(words.end(), {"--json", file, "--timeout", timeout});
    return words;
  }

  OwnDirectory directory_;
  Child child_;
};

/// Lets the second pass after which the board closes, once the client has taken leave.
inline void pass_leave(BoardUnderTest& board) {
  board.lines_until("recv q command");
  board.advance(std::chrono::seconds(1));
}
