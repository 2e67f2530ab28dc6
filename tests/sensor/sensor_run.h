// What the tests of sensor calibration share: a board, a console, a station.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>
#include "tests/harness/station_run.h"

class SensorRun : public StationRun {
 protected:
  using Lines = std::vector<std::string>;

  explicit SensorRun(std::string_view family = "normal") : StationRun(family) {}

  void expect_reply(int code, const std::string& name, const std::string& value,
                    const std::string& description) {
    ::expect_reply(station, code, name, value, description);
  }
  /// The hardware calls behind their times, without closes and without reads of files: programs may close
  /// their nodes in any order and read a file in pieces of any size.
  Lines timed_calls() const {
    Lines lines;
    for (const boardsim::Call& call : board.trace()) {
      const bool of_file = call.node.starts_with("/devinfo/");
      if (!call.node.starts_with("/dev") || call.name == "close") continue;
      if (of_file && call.name != "open" && call.name != "fopen") continue;
      boardsim::Call shown = call;
      if (of_file) shown.name = "open";
      lines.push_back(shown.timed_text());
    }
    return lines;
  }
  /// What one node was asked, without times.
  Lines calls_on(std::string_view node) const {
    Lines lines;
    for (const boardsim::Call& call : board.trace()) {
      if (call.node == node) lines.push_back(call.text());
    }
    return lines;
  }
};
