// The alarm test of ten inputs and ten outputs, of switches and of levels.
#include <gtest/gtest.h>
#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_reports.h"
#include "tests/peripheral/alarm_step_lines.h"

namespace {

using namespace std::chrono_literals;

/// The two ways in which ten inputs are tested.
struct Way {
  unsigned mode;
  int code;
  const char* name;  ///< as printed
  unsigned idle, alarm;
  void (*entry)();
};

constexpr Way kSwitch = {0, 531, "开关量(10进10出)..", 0x3FF, 0x000, t1_sdk_alarm_test_10in10out_switch};
constexpr Way kLevel = {1, 532, "电平量(10进10出)..", 0x300, 0x0FF, t1_sdk_alarm_test_10in10out_level};
constexpr const char* kLines[] = {"74", "76", "77", "78", "20", "17", "15", "8", "59", "94"};

void PrintTo(const Way& way, std::ostream* out) {
  *out << way.name;
}

class AlarmTenTest : public AlarmRun {
 protected:
  AlarmTenTest() : AlarmRun("65xx") {}

  static Lines script(bool selects_board) {
    HardwareScript it;
    it.open("/dev/qznio");
    it.open("/dev/qznitc");
    it.open("/dev/fpga");
    if (selects_board) it.fpga(0x60, 0);
    it.test_control(1);
    for (int cycle = 0; cycle < 5; ++cycle) {
      for (const unsigned closed : {0U, 1U}) {
        it.fpga(0x2018, 0x180038);
        it.fpga(0x2002, closed != 0 ? 0xC0180038 : 0x80180038);
        it.fpga(81, closed);
        it.fpga(82, closed);
        it.wait(500ms);
        it.read_ten();
      }
    }
    it.fpga(81, 0);
    it.fpga(82, 0);
    it.fpga(0x2002, 0x180038);
    it.wait(500ms);
    it.test_control(0);
    it.close("/dev/qznio");
    it.close("/dev/qznitc");
    it.close("/dev/fpga");
    return it.lines();
  }

  static std::string line(const char* what, unsigned word, unsigned reference) {
    char words[64];
    std::snprintf(words, sizeof words, "ret=0x%04x,ref=0x%04x\n", word, reference);
    return std::string("##") + what + "报警输入测试," + (word == reference ? "成功," : "失败,") + words;
  }
  /// The console of a run in which each cycle reads the same two words.
  static std::string said(const char* name, unsigned idle, unsigned alarm, unsigned idle_reference,
                          unsigned alarm_reference) {
    std::string text = "alarm_test_65xx\n";
    if (name != nullptr) text.append(name).append("\n");
    for (int cycle = 1; cycle <= 5; ++cycle) {
      text += cycle_head(cycle) + line("无", idle, idle_reference) + line("有", alarm, alarm_reference);
    }
    return text + "\n";
  }
  static std::string said(const Way& way, unsigned idle, unsigned alarm) {
    return said(way.name, idle, alarm, way.idle, way.alarm);
  }
};

class AlarmTenWaysTest : public AlarmTenTest, public ::testing::WithParamInterface<Way> {
 protected:
  AlarmTenWaysTest() { plug_in(); }

  /// Goes on with a new board, which the jig of this way is plugged into.
  void next_board() {
    AlarmTenTest::next_board("65xx");
    plug_in();
  }
  void plug_in() { board->bench.set_jig(way.mode == 0 ? "10in10out-switch" : "10in10out-level"); }

  const Way& way = GetParam();

  void run() { alarm_test_65xx(way.mode, way.code); }

  /// Runs a board with a fault that keeps an input, counted from 1, at one level: one step of each cycle is
  /// wrong.
  void expect_held(const std::string& fault, unsigned input, bool high) {
    SCOPED_TRACE(fault);
    next_board();
    board.fault(fault);
    run();
    const unsigned bit = 1U << (input - 1);
    const unsigned idle = high ? way.idle | bit : way.idle & ~bit;
    const unsigned alarm = high ? way.alarm | bit : way.alarm & ~bit;
    EXPECT_EQ(console.out(), said(way, idle, alarm) + "fail num = 10\n");
    EXPECT_EQ(console.err(), summary(5, 5));
    expect_fail(way.code, "测试失败");
  }
};

INSTANTIATE_TEST_SUITE_P(By, AlarmTenWaysTest, ::testing::Values(kSwitch, kLevel), [](const auto& row) {
  return std::string(row.param.mode == 0 ? "Switch" : "Level");
});

TEST_P(AlarmTenWaysTest, DrivesAllOutputsAtOnceInTwoSteps) {
  const Lines expected = script(true);
  run();
  EXPECT_EQ(board.timed_hardware_trace(), expected);
  EXPECT_EQ(board.now(), 5500ms);
}

TEST_P(AlarmTenWaysTest, PassesOnAHealthyBoard) {
  way.entry();
  EXPECT_EQ(console.out(), said(way, way.idle, way.alarm));
  EXPECT_EQ(console.err(), summary(5, 0));
  expect_pass(way.code);
  EXPECT_EQ(gpiofd, -1);
}

TEST_P(AlarmTenWaysTest, LeavesTheOutputsAtTheirEndValues) {
  run();
  EXPECT_EQ(board->fpga.reg(0x2002), 0x180038U);
  EXPECT_EQ(board->fpga.reg(0x2018), 0x180038U);
  EXPECT_EQ(board->fpga.reg(81), 0U);
  EXPECT_EQ(board->fpga.reg(82), 0U);
}

TEST_P(AlarmTenWaysTest, FindsEachInputThatIsStuck) {
  for (unsigned input = 1; input <= 10; ++input) {
    const std::string line = std::string("gpio ") + kLines[input - 1];
    expect_held(line + " stuck high", input, true);
    expect_held(line + " stuck low", input, false);
  }
}

TEST_P(AlarmTenWaysTest, FindsEachInputWhoseWireIsCut) {
  for (unsigned input = 1; input <= 10; ++input) {
    expect_held("wire T" + std::to_string(input) + " cut", input, true);
  }
}

TEST_P(AlarmTenWaysTest, FindsEachOutputThatIsDeadOrAlwaysClosed) {
  for (unsigned output = 1; output <= 10; ++output) {
    const bool is_level = way.mode == 1 && output <= 8;  // its contacts conduct at rest
    expect_held("output F" + std::to_string(output) + " dead", output, !is_level);
    expect_held("output F" + std::to_string(output) + " closed", output, false);
  }
}

TEST_P(AlarmTenWaysTest, FindsShortsBetweenALevelInputAndASwitchOnly) {
  for (unsigned one = 1; one <= 10; ++one) {
    for (unsigned other = one + 1; other <= 10; ++other) {
      const std::string fault = "short T" + std::to_string(one) + " T" + std::to_string(other);
      SCOPED_TRACE(fault);
      next_board();
      board.fault(fault);
      run();
      const bool found = way.mode == 1 && one <= 8 && other > 8;
      // While one of the two is low, so is the other.
      const unsigned idle = found ? way.idle & ~(1U << (other - 1)) : way.idle;
      const unsigned alarm = found ? way.alarm & ~(1U << (one - 1)) : way.alarm;
      EXPECT_EQ(console.out(), said(way, idle, alarm) + (found ? "fail num = 10\n" : ""));
      EXPECT_EQ(console.err(), summary(5, found ? 10 : 0));
      expect_reply(way.code, found ? "Fail" : "Pass", found ? "测试失败" : "测试成功");
    }
  }
}

TEST_P(AlarmTenWaysTest, OneBadStepOfTenFailsTheTest) {
  board.at(1100ms, [this] { board.fault("ioctl /dev/qznio 0x80044703"); });
  board.at(1600ms, [this] { board.clear_faults(); });
  run();
  EXPECT_EQ(console.err(), summary(5, 1));
  expect_fail(way.code, "测试失败");
}

TEST_P(AlarmTenWaysTest, InputsThatCannotBeReadAreLow) {
  board.fault("ioctl /dev/qznio 0x80044703");
  run();
  EXPECT_EQ(console.out(), said(way, 0, 0) + "fail num = 10\n");
  EXPECT_EQ(console.err(), summary(5, way.alarm == 0 ? 5 : 10));
}

TEST_F(AlarmTenTest, AllTenLinesAreReadInTheirOrder) {
  alarm_test_65xx(0, 531);
  std::string lines;
  for (const boardsim::Call& call : board.trace()) {
    if (call.request == 0x80044703) lines += std::to_string(call.record.at(0)) + " ";
  }
  std::string once, expected;
  for (const char* number : kLines) once.append(number).append(" ");
  for (int step = 0; step < 10; ++step) expected += once;
  EXPECT_EQ(lines, expected);
}

TEST_F(AlarmTenTest, ModeTwoNamesNothingSelectsNothingAndComparesWithZero) {
  const Lines expected = script(false);
  alarm_test_65xx(2, 532);
  EXPECT_EQ(board.timed_hardware_trace(), expected);
}

TEST_F(AlarmTenTest, ModeTwoFailsTheStepsInWhichAnInputIsHigh) {
  board.fault("ioctl /dev/qznio 0x80044703");
  alarm_test_65xx(2, 531);
  EXPECT_EQ(console.out(), said(nullptr, 0, 0, 0, 0));
  EXPECT_EQ(console.err(), summary(5, 0));
  expect_pass(531);
  with_family("65xx");
  station.forget();
  console.clear();
  for (const char* line : kLines) board.fault(std::string("gpio ") + line + " stuck high");
  alarm_test_65xx(2, 531);
  EXPECT_EQ(console.out(), said(nullptr, 0x3FF, 0x3FF, 0, 0) + "fail num = 10\n");
  EXPECT_EQ(console.err(), summary(5, 10));
  expect_fail(531, "测试失败");
}

TEST_F(AlarmTenTest, ModeThreeIsAnErrorThatAlsoBlamesTheIoDriverOnTheConsole) {
  for (const unsigned mode : {3U, 4U, 0xFFFFFFFFU}) {
    station.forget();
    console.clear();
    alarm_test_65xx(mode, 531);
    EXPECT_EQ(console.out(), "alarm_test_65xx\n扩展板模式出错\n打开/dev/qznio失败\nfail num = 1\n") << mode;
    EXPECT_EQ(console.err(), "");
    expect_fail(531, "扩展板模式出错");
  }
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(AlarmTenTest, TheIoDriverStaysOpenWhileTheTestRuns) {
  board.at(3s, [this] {
    EXPECT_GT(gpiofd, 0);
    EXPECT_EQ(board.open_nodes(), (Lines{"/dev/qznio", "/dev/qznitc", "/dev/fpga"}));
  });
  alarm_test_65xx(0, 531);
  EXPECT_EQ(gpiofd, -1);
}

}  // namespace
