// What the tests of the alarm lines share: a board, a station, and what every variant does and says.
#pragma once

#include <gtest/gtest.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/platform/gpio.h"
#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_script.h"

// ---- what every variant says -----------------------------------------------------------------------------

/// The summary on standard error.
inline std::string summary(int cycles, int errors) {
  return "报警I/O口完成" + std::to_string(cycles) + "次测试,错误次数" + std::to_string(errors) + "\n\n";
}
inline std::string cycle_head(int cycle) {
  return "\n第" + std::to_string(cycle) + "次测试\n";
}

// ---- what every variant does before its cycles and behind them -------------------------------------------

inline HardwareScript opened(const char* device) {
  return HardwareScript().open("/dev/qznio").open("/dev/qznitc").open(device);
}
/// The registers that FPGA variants set up; `expansion` is what the expansion board's is set to.
inline void set_up_fpga(HardwareScript& it, std::uint32_t expansion) {
  it.fpga(0x60, expansion).fpga(0x2006, 1).fpga(0x2009, 1).fpga(0x2014, 1).fpga(0x2008, 0);
}
/// All but the closing of the device.
inline HardwareScript& finish(HardwareScript& it) {
  return it.wait(std::chrono::milliseconds(500)).test_control(0).close("/dev/qznio").close("/dev/qznitc");
}

/// A board of a family and a station that asks it for alarm tests.
class AlarmRoom : public StationRun {
 protected:
  using Lines = std::vector<std::string>;

  explicit AlarmRoom(std::string_view family = "normal") : StationRun(family) {}
  ~AlarmRoom() override { gpiofd = -1; }

  void expect_reply(int code, const std::string& value, const std::string& description) {
    ::expect_reply(station, code, "测试应用程序", value, description);
  }
  void expect_pass(int code) { expect_reply(code, "Pass", "测试成功"); }
  void expect_fail(int code, const std::string& description) { expect_reply(code, "Fail", description); }

  void expect_trace(const HardwareScript& expected) {
    EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  }
  /// The lines of the GPIO readings so far.
  std::vector<unsigned> lines_read() const {
    std::vector<unsigned> lines;
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == "ioctl" && call.request == 0x80044703) lines.push_back(call.record.at(0));
    }
    return lines;
  }
};
