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

  void expect_console(const std::string& out, const std::string& err = "") {
    EXPECT_EQ(console.out(), out);
    EXPECT_EQ(console.err(), err);
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
