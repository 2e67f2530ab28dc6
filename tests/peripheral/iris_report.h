// What the tests of the auto-iris share: its four drives as their boards show them, and a board with a
// station.
#pragma once

#include <gtest/gtest.h>
#include <chrono>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/peripheral/iris.h"
#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_script.h"

/// One drive, from outside.
struct IrisTest {
  const char* name;
  const char* family;  ///< a board that has it
  void (*run)();
  std::string banner;
  const char* node;       ///< what it opens, empty for the shell
  const char* configure;  ///< the call that configures it, null when none does
  const char* prepare;    ///< the call before the first cycle, null when there is none
  const char* close;      ///< the call that closes the iris
  const char* open;       ///< the call that opens it
  std::chrono::milliseconds after_close;
  std::chrono::milliseconds after_open;       ///< in the first cycle
  std::chrono::milliseconds after_last_open;  ///< in the second
  unsigned off_command, on_command;           ///< for the camera's application

  std::string off_line() const { return line(off_command, 0); }
  std::string on_line() const { return line(on_command, 1); }
  /// The commands that the application is sent.
  std::vector<boardsim::Application::Command> commands() const {
    return {{12, off_command, 0}, {12, on_command, 1}};
  }

 private:
  /// What the program prints of the application's answer.
  static std::string line(unsigned command, unsigned value) {
    return "MAtest:CMD:" + std::to_string(command) + ", maHeart:" + std::to_string(value) +
           ", maStartOK:0x0\n";
  }
};

inline void PrintTo(const IrisTest& test, std::ostream* out) {
  *out << test.name;
}

// clang-format off
using namespace std::chrono_literals;
inline const IrisTest kFpgaIris = {"Fpga", "normal", auto_iris_test, "auto_iris_test_65xx\n", "/dev/fpga",
    nullptr,                                          "ioctl /dev/fpga 0x40044603 {8193, 639} = 0",
    "ioctl /dev/fpga 0x40044603 {8193, 3327} = 0",    "ioctl /dev/fpga 0x40044603 {8193, 3072} = 0",
    1500ms, 3500ms, 2000ms, 201288, 201288};
inline const IrisTest kShellIris = {"Shell", "63xx", auto_iris_test_63xx, "auto_iris_test_63xx\n", "",
    nullptr,                                          nullptr,
    "system closeIRIS = 0",                           "system openIRIS = 0",
    1500ms, 3500ms, 2000ms, 40, 39};
inline const IrisTest kChipIris = {"Chip", "65xx", auto_iris_test_65xx, "auto_iris_test_65xx\n", "/dev/motor",
    "ioctl /dev/motor 0x40044301 {3, 3, 0} = 0",      "ioctl /dev/motor 0x40046901 {639} = 0",
    "ioctl /dev/motor 0x40046901 {3327} = 0",         "ioctl /dev/motor 0x40046901 {3072} = 0",
    3000ms, 2000ms, 2000ms, 201288, 201288};
inline const IrisTest kGpioIris = {"Gpio", "68xx", auto_iris_test_68xx, "auto_iris_test_68xx\n", "/dev/motor1",
    "ioctl /dev/motor1 0x40044301 {1, 3, 0} = 0",     nullptr,
    "ioctl /dev/motor1 0x40046901 {512} = 0",         "ioctl /dev/motor1 0x40046901 {767} = 0",
    1500ms, 3500ms, 2000ms, 201288, 201288};
// clang-format on

/// What every run says of its cycles and of its end.
inline constexpr const char* kIrisCycles =
    "第1次测试开始:关闭光圈...\n打开光圈...\n第2次测试开始:关闭光圈...\n打开光圈...\n";
inline constexpr const char* kIrisEnd = "自动光圈测试结束.\n";

/// How long the healthy application takes to answer, and the pause behind that.
inline constexpr auto kAppAnswer = 20ms;
inline constexpr auto kIrisPause = 50ms;

class IrisRun : public StationRun {
 protected:
  using Lines = std::vector<std::string>;
  using Commands = std::vector<boardsim::Application::Command>;

  explicit IrisRun(std::string_view family = "normal") : StationRun(family) {}

  /// Calls on nodes and shell commands so far, with their times.
  Lines timed_calls() const {
    Lines calls;
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == "system" || call.node.starts_with("/")) calls.push_back(call.timed_text());
    }
    return calls;
  }
  void expect_reply(const std::string& value, const std::string& description) {
    ::expect_reply(station, 9472, "自动光圈测试", value, description);
  }
  void expect_pass() { expect_reply("Pass", "测试成功"); }
  void expect_fail(const std::string& description) { expect_reply("Fail", description); }
};

/// Every drive on its own board.
class IrisDriveRun : public IrisRun, public ::testing::WithParamInterface<IrisTest> {
 protected:
  IrisDriveRun() : IrisRun(GetParam().family) {}

  const IrisTest& test = GetParam();
};
