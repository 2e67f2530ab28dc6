// What the tests of the alarm variants share: a board, a console, a station, and what every run says.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/platform/gpio.h"
#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_script.h"

class AlarmRun : public StationRun {
 protected:
  using Lines = std::vector<std::string>;

  explicit AlarmRun(std::string_view family = "normal") : StationRun(family) {}
  ~AlarmRun() override { gpiofd = -1; }

  void expect_reply(int code, const std::string& value, const std::string& description) {
    ::expect_reply(station, code, "测试应用程序", value, description);
  }
  void expect_pass(int code) { expect_reply(code, "Pass", "测试成功"); }
  void expect_fail(int code, const std::string& description) { expect_reply(code, "Fail", description); }

  /// The summary on standard error.
  static std::string summary(int cycles, int errors) {
    return "报警I/O口完成" + std::to_string(cycles) + "次测试,错误次数" + std::to_string(errors) + "\n\n";
  }
  static std::string cycle_head(int cycle) { return "\n第" + std::to_string(cycle) + "次测试\n"; }
};
