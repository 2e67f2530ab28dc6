// The alarm test of ten inputs and ten outputs, of switches and of levels.
#include <chrono>
#include <cstdio>
#include <ostream>
#include <string>

#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_room.h"

namespace {

using namespace std::chrono_literals;

/// What the inputs should be, and are called: two ways, and a third one that names nothing.
struct Way {
  unsigned mode;
  const char* jig;
  const char* line;  ///< printed first
  unsigned idle, alarm;
};

constexpr Way kSwitch = {0, "10in10out-switch", "开关量(10进10出)..\n", 0x3FF, 0x000};
constexpr Way kLevel = {1, "10in10out-level", "电平量(10进10出)..\n", 0x300, 0x0FF};
constexpr Way kNeither = {2, "10in10out-switch", "", 0x000, 0x000};

void PrintTo(const Way& way, std::ostream* out) {
  *out << way.jig;
}

HardwareScript run_script(bool selects_board) {
  HardwareScript it = opened("/dev/fpga");
  if (selects_board) it.fpga(0x60, 0);
  it.test_control(1);
  for (int cycle = 0; cycle < 5; ++cycle) {
    for (const unsigned closed : {0U, 1U}) {
      it.fpga(0x2018, 0x180038).fpga(0x2002, closed != 0 ? 0xC0180038 : 0x80180038);
      it.fpga(81, closed).fpga(82, closed).wait(500ms).read_ten();
    }
  }
  it.fpga(81, 0).fpga(82, 0).fpga(0x2002, 0x180038);
  return finish(it).close("/dev/fpga");
}

std::string line(const char* what, unsigned word, unsigned reference) {
  char words[64];
  std::snprintf(words, sizeof words, "ret=0x%04x,ref=0x%04x\n", word, reference);
  return std::string("##") + what + "报警输入测试," + (word == reference ? "成功," : "失败,") + words;
}

/// The console of a run in which each cycle reads the same two words.
std::string run_console(const Way& way, unsigned idle, unsigned alarm) {
  std::string text = std::string("alarm_test_65xx\n") + way.line;
  for (int cycle = 1; cycle <= 5; ++cycle) {
    text += cycle_head(cycle) + line("无", idle, way.idle) + line("有", alarm, way.alarm);
  }
  return text + "\n";
}

class AlarmTenTest : public AlarmRoom, public ::testing::WithParamInterface<Way> {
 protected:
  static constexpr int kCode = 531;

  AlarmTenTest() : AlarmRoom("65xx") { board->bench.set_jig(way.jig); }

  void run() { alarm_test_65xx(way.mode, kCode); }
  /// Runs, and expects all that is said when each cycle reads these words.
  void expect_words(unsigned idle, unsigned alarm) {
    run();
    const int errors = (idle != way.idle ? 5 : 0) + (alarm != way.alarm ? 5 : 0);
    EXPECT_EQ(console.out(), run_console(way, idle, alarm) + (errors != 0 ? "fail num = 10\n" : ""));
    EXPECT_EQ(console.err(), summary(5, errors));
    expect_reply(kCode, errors != 0 ? "Fail" : "Pass", errors != 0 ? "测试失败" : "测试成功");
  }

  const Way& way = GetParam();
};

INSTANTIATE_TEST_SUITE_P(By, AlarmTenTest, ::testing::Values(kSwitch, kLevel), [](const auto& row) {
  return std::string(row.param.mode == 0 ? "Switch" : "Level");
});

TEST_P(AlarmTenTest, AHealthyBoardPassesWithAllOutputsDrivenAtOnceInTwoSteps) {
  expect_words(way.idle, way.alarm);
  expect_trace(run_script(true));
  EXPECT_EQ(board.now(), 5500ms);
  EXPECT_EQ(gpiofd, -1);
}

TEST_P(AlarmTenTest, InputsThatCannotBeReadAreLow) {
  board.fault("ioctl /dev/qznio 0x80044703");
  expect_words(0, 0);
}

TEST_P(AlarmTenTest, OneBadStepOfTenFailsTheTest) {
  board.at(1100ms, [this] { board.fault("ioctl /dev/qznio 0x80044703"); });
  board.at(1600ms, [this] { board.clear_faults(); });
  run();
  EXPECT_EQ(console.err(), summary(5, 1));
  expect_fail(kCode, "测试失败");
}

// ---- other modes -----------------------------------------------------------------------------------------

class AlarmTenModesTest : public AlarmRoom {
 protected:
  AlarmTenModesTest() : AlarmRoom("65xx") {}
};

TEST_F(AlarmTenModesTest, ModeTwoNamesNothingSelectsNothingAndFailsTheStepsInWhichAnInputIsHigh) {
  alarm_test_65xx(2, 531);
  expect_trace(run_script(false));
  EXPECT_EQ(console.out(), run_console(kNeither, 0x3FF, 0) + "fail num = 10\n");
  expect_fail(531, "测试失败");
  next_board("65xx");
  board.fault("ioctl /dev/qznio 0x80044703");
  alarm_test_65xx(2, 531);
  EXPECT_EQ(console.out(), run_console(kNeither, 0, 0));
  expect_pass(531);
}

TEST_F(AlarmTenModesTest, ModeThreeIsAnErrorThatAlsoBlamesTheIoDriverOnTheConsole) {
  for (const unsigned mode : {3U, 4U, 0xFFFFFFFFU}) {
    forget();
    alarm_test_65xx(mode, 531);
    EXPECT_EQ(console.out(), "alarm_test_65xx\n扩展板模式出错\n打开/dev/qznio失败\nfail num = 1\n") << mode;
    EXPECT_EQ(console.err(), "");
    expect_fail(531, "扩展板模式出错");
  }
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

}  // namespace
