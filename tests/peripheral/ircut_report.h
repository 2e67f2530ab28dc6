// What the tests of the IR-cut filter share: a board, a console, a station.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/peripheral/ircut.h"
#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_script.h"

class IrCutRun : public StationRun {
 protected:
  using Lines = std::vector<std::string>;

  explicit IrCutRun(std::string_view family = "normal") : StationRun(family) {}

  void expect_ircut(const std::string& value, const std::string& description) {
    expect_reply(station, 1792, "IR CUT测试", value, description);
  }
  /// The node was opened so many times, each time for reading and writing and with no other flag.
  void expect_opened_read_write(const std::string& node, int times) {
    int opened = 0;
    for (const boardsim::Call& call : board.trace()) {
      if (call.name != "open" || call.node != node) continue;
      ++opened;
      EXPECT_EQ(call.record, std::vector<std::uint32_t>{O_RDWR});
    }
    EXPECT_EQ(opened, times);
  }
  void expect_console(const std::string& out) {
    EXPECT_EQ(console.out(), out);
    EXPECT_EQ(console.err(), "");
  }
  void expect_pass() { expect_ircut("Pass", "测试成功"); }
  void expect_fail(const std::string& description) { expect_ircut("Fail", description); }
};
