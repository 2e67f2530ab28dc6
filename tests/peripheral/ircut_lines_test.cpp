// The IR-cut filters without a motor driver: a stepped motor, shell commands, an electromagnet.
#include <gtest/gtest.h>
#include <chrono>
#include <string>
#include <vector>

#include "tests/peripheral/ircut_report.h"

namespace {

using namespace std::chrono_literals;
using Filter = boardsim::IrFilter::Side;

// ---- stepped motor ------------------------------------------------------------------------

class IrCutStepperTest : public IrCutRun {
 protected:
  IrCutStepperTest() : IrCutRun("65xx") {}

  static constexpr unsigned kEnable = 110, kA = 111, kB = 113, kHomeSwitch = 26;

  /// A run that takes so many steps back and then does or does not see the home switch.
  static Lines script(int steps_back, bool sees_home) {
    HardwareScript it;
    it.open("/dev/qznio");
    it.drive(kEnable, 1);
    it.drive(kA, 0);
    it.drive(kB, 0);
    it.wait(10ms);
    const auto set = [&it](unsigned line, unsigned level, std::chrono::milliseconds rest) {
      it.drive(line, level);
      it.wait(rest);
    };
    for (int step = 0; step < 175; ++step) {
      set(kB, 1, 10ms);
      set(kA, 0, 10ms);
      set(kB, 0, 10ms);
      set(kA, 1, 10ms);
    }
    for (int step = 0; step < steps_back; ++step) {
      it.read(kHomeSwitch);
      set(kA, 0, 5ms);
      set(kB, 1, 5ms);
      set(kA, 1, 5ms);
      set(kB, 0, 5ms);
    }
    if (sees_home) it.read(kHomeSwitch);
    it.drive(kEnable, 0);
    it.close("/dev/qznio");
    return it.lines();
  }
};

TEST_F(IrCutStepperTest, AHomeSwitchThatNeverClosesEndsTheWayBackAfter175StepsAndTheTestPasses) {
  board.fault("home switch never");
  ircut_test_65xx();
  EXPECT_EQ(board.timed_hardware_trace(), script(175, false));
  EXPECT_EQ(board.now(), 10ms + 175 * 40ms + 175 * 20ms);
  EXPECT_EQ(console.out(), "ircut_test_65xx\n");
  expect_pass();
}

TEST_F(IrCutStepperTest, AHomeSwitchThatIsClosedEndsTheWayBackBeforeItsFirstStep) {
  board.fault("gpio 26 stuck high");
  ircut_test_65xx();
  EXPECT_EQ(board.timed_hardware_trace(), script(0, true));
  EXPECT_EQ(board.now(), 10ms + 175 * 40ms);
  expect_pass();
}

TEST_F(IrCutStepperTest, AHomeSwitchThatClosesOnTheWayEndsItThere) {
  board.fault("gpio 26 stuck low");
  board.at(7010ms + 3 * 20ms - 1ms, [this] { board.fault("gpio 26 stuck high"); });
  ircut_test_65xx();
  EXPECT_EQ(board.timed_hardware_trace(), script(3, true));
  expect_pass();
}

TEST_F(IrCutStepperTest, AHealthyFilterComesBackToItsSwitch) {
  ircut_test_65xx();
  EXPECT_EQ(board.timed_hardware_trace(), script(160, true)) << "its other stop is 160 steps away";
  EXPECT_EQ(board.now(), 10ms + 175 * 40ms + 160 * 20ms);
  EXPECT_EQ(board->general_io.level(26), 1);
  EXPECT_EQ(console.out(), "ircut_test_65xx\n");
  EXPECT_EQ(console.err(), "");
  expect_pass();
}

TEST_F(IrCutStepperTest, ASwitchThatCannotBeReadIsNotClosed) {
  board.fault("ioctl /dev/qznio 0x80044703");
  ircut_test_65xx();
  EXPECT_EQ(board.now(), 10ms + 175 * 40ms + 175 * 20ms);
  expect_pass();
}

TEST_F(IrCutStepperTest, LinesThatCannotBeDrivenDoNotFailTheTest) {
  board.fault("ioctl /dev/qznio 0x40044704");
  board.fault("home switch never");
  ircut_test_65xx();
  EXPECT_EQ(board.now(), 10ms + 175 * 40ms + 175 * 20ms);
  EXPECT_EQ(console.out(), "ircut_test_65xx\n");
  expect_pass();
}

TEST_F(IrCutStepperTest, TheDriverIsOpenedForReadingAndWriting) {
  ircut_test_65xx();
  expect_opened_read_write("/dev/qznio", 1);
}

TEST_F(IrCutStepperTest, WithoutTheDriverTheTestFails) {
  board.fault("open /dev/qznio");
  ircut_test_65xx();
  EXPECT_EQ(console.out(), "ircut_test_65xx\n打开/dev/qznio失败\nfail num = 1\n");
  EXPECT_EQ(console.err(), "Open /dev/qznio: No such device\n");
  expect_fail("打开/dev/qznio失败");
  EXPECT_EQ(board.now(), 0s);
}

// ---- shell commands -------------------------------------------------------------------------

class IrCutShellTest : public IrCutRun {
 protected:
  IrCutShellTest() : IrCutRun("63xx") {}

  /// The shell commands so far, with their times.
  Lines commands() const {
    Lines all;
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == "system") all.push_back(call.timed_text());
    }
    return all;
  }
};

TEST_F(IrCutShellTest, TheFilterGoesToDayToNightAndToDay) {
  ircut_test_63xx();
  EXPECT_EQ(commands(), (Lines{"0.000000 system dayICR = 0", "3.000000 system nightICR = 0",
                               "6.000000 system dayICR = 0"}));
  EXPECT_EQ(board.now(), 9s);
  EXPECT_EQ(board->ir_filter.side(), Filter::day);
  EXPECT_EQ(console.lines(), (Lines{"ircut_test_65xx", "复位至白天...", "切至晚上...", "复位至白天..."}));
  expect_pass();
}

TEST_F(IrCutShellTest, ItsBannerIsThatOfAnotherBoard) {
  ircut_test_63xx();
  EXPECT_EQ(console.lines().front(), "ircut_test_65xx");
}

TEST_F(IrCutShellTest, ACommandThatCannotBeRunIsSaidAndPasses) {
  board.fault("system #1");
  ircut_test_63xx();
  EXPECT_EQ(console.lines(), (Lines{"ircut_test_65xx", "复位至白天...", "icr向白天切换 failed!",
                                    "切至晚上...", "复位至白天..."}));
  EXPECT_EQ(board.now(), 9s);
  expect_pass();
  next_board("63xx");
  board.fault("system #2");
  ircut_test_63xx();
  EXPECT_EQ(console.lines(), (Lines{"ircut_test_65xx", "复位至白天...", "切至晚上...",
                                    "icr向晚上切换 failed!", "复位至白天..."}));
  expect_pass();
}

TEST_F(IrCutShellTest, CommandsThatCannotBeRunAtAllPass) {
  board.fault("system");
  ircut_test_63xx();
  EXPECT_EQ(console.lines(),
            (Lines{"ircut_test_65xx", "复位至白天...", "icr向白天切换 failed!", "切至晚上...",
                   "icr向晚上切换 failed!", "复位至白天...", "icr向白天切换 failed!"}));
  EXPECT_EQ(board.now(), 9s);
  EXPECT_EQ(commands().size(), 3U);
  expect_pass();
}

TEST_F(IrCutShellTest, NoNodeIsOpened) {
  board.fault("open /dev/qznio");
  board.fault("open /dev/motor");
  ircut_test_63xx();
  expect_pass();
}

// ---- electromagnet --------------------------------------------------------------------------

class IrCutMagnetTest : public IrCutRun {
 protected:
  IrCutMagnetTest() : IrCutRun("loop") {}

  static void switch_script(HardwareScript& it, bool night) {
    it.open("/dev/qznio");
    it.drive(87, 0);
    it.drive(86, night ? 0 : 1);
    it.drive(88, night ? 1 : 0);
    it.drive(87, 1);
    it.close("/dev/qznio");
  }
};

TEST_F(IrCutMagnetTest, DayIsTheFrontCoil) {
  EXPECT_EQ(loop_ircut_test(0), 0);
  HardwareScript expected;
  switch_script(expected, false);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board->ir_filter.side(), Filter::day);
  EXPECT_EQ(console.out(), "");
}

TEST_F(IrCutMagnetTest, NightIsTheBackCoil) {
  for (const int night : {1, 2, -1}) {
    board.clear_trace();
    EXPECT_EQ(loop_ircut_test(night), 0);
    HardwareScript expected;
    switch_script(expected, true);
    EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
    EXPECT_EQ(board->ir_filter.side(), Filter::night);
  }
}

TEST_F(IrCutMagnetTest, TheCoilsStayEnabled) {
  loop_ircut_test(1);
  EXPECT_EQ(board->general_io.level(87), 1);
}

TEST_F(IrCutMagnetTest, WithoutTheDriverTheFilterCannotBeSwitched) {
  board.fault("open /dev/qznio");
  EXPECT_EQ(loop_ircut_test(0), -1);
}

TEST_F(IrCutMagnetTest, TheFirstWriteThatFailsEndsTheSwitchingAndIsNamed) {
  const char* const said[] = {
      "<gpio_set_icr_electro()> set ELECTRO_ENABLE 0 error!",
      "<gpio_set_icr_electro()> set ELECTRO_FRONT 1 error!",
      "<gpio_set_icr_electro()> set ELECTRO_BACK 0 error!",
      "<gpio_set_icr_electro()> set ELECTRO_ENABLE 1 error!",
  };
  for (const int night : {0, 1}) {
    for (std::size_t number = 1; number <= 4; ++number) {
      SCOPED_TRACE(number);
      board.clear_faults();
      board.clear_trace();
      console.clear();
      board.fault("ioctl /dev/qznio 0x40044704 #" + std::to_string(number));
      EXPECT_EQ(loop_ircut_test(night), -1);
      EXPECT_EQ(console.lines(), Lines{said[number - 1]});
      EXPECT_EQ(board.hardware_trace().size(), number + 2) << "an opening, the writes, a closing";
      EXPECT_EQ(board.hardware_trace().back(), "close /dev/qznio = 0");
    }
  }
}

/// The two tests of the magnet: which side comes first, and the banner.
struct MagnetTest {
  const char* name;
  const char* family;
  void (*run)();
  const char* banner;
  bool night_first;
};

const MagnetTest kMagnetTests[] = {{"Loop", "loop", ircut_test_loop, "ircut_test_wpfxx\n", false},
                                   {"LoopC", "loop-c", ircut_test_loop_c, "ircut_test_wpfxxC\n", true}};

void PrintTo(const MagnetTest& test, std::ostream* out) {
  *out << test.name;
}

class IrCutLoopTest : public IrCutMagnetTest, public ::testing::WithParamInterface<MagnetTest> {
 protected:
  IrCutLoopTest() { with_family(GetParam().family); }

  static constexpr const char* kFirstDone = "第0次测试成功\n";
  static constexpr const char* kSecondDone = "第1次测试成功\n";
  static constexpr const char* kDone = "ICR 测试成功\n";
  static constexpr const char* kSwitchFailed = "ICR切换失败\n";
  static constexpr const char* kNoDisable = "<gpio_set_icr_electro()> set ELECTRO_ENABLE 0 error!\n";

  const MagnetTest& test = GetParam();
};

INSTANTIATE_TEST_SUITE_P(On, IrCutLoopTest, ::testing::ValuesIn(kMagnetTests),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(IrCutLoopTest, SwitchesEveryFiveSecondsInTwoCycles) {
  HardwareScript expected;
  for (const bool other : {false, true, false, true}) {
    expected.wait(5s);
    switch_script(expected, test.night_first != other);
  }
  test.run();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 20s);
}

TEST_P(IrCutLoopTest, OpensTheDriverForReadingAndWritingAtEachSwitch) {
  test.run();
  expect_opened_read_write("/dev/qznio", 4);
}

TEST_P(IrCutLoopTest, PassesOnAHealthyBoardWithCyclesCountedFromZero) {
  test.run();
  EXPECT_EQ(console.out(), std::string(test.banner) + kFirstDone + kSecondDone + kDone);
  EXPECT_EQ(console.err(), "");
  expect_pass();
}

TEST_P(IrCutLoopTest, TheSecondSwitchOfACycleCannotFail) {
  board.fault("ioctl /dev/qznio 0x40044704 #5");
  test.run();
  EXPECT_EQ(console.out(), std::string(test.banner) + kNoDisable + kFirstDone + kSecondDone + kDone);
  expect_pass();
  next_board(test.family);
  board.fault("open /dev/qznio #2");
  board.fault("open /dev/qznio #4");
  test.run();
  EXPECT_EQ(board.now(), 20s);
  expect_pass();
}

TEST_P(IrCutLoopTest, AFirstSwitchThatFailsEndsTheTestAndTheDescriptionStillSaysSuccess) {
  board.fault("ioctl /dev/qznio 0x40044704 #1");
  test.run();
  EXPECT_EQ(console.out(), std::string(test.banner) + kNoDisable + kSwitchFailed + "fail num = -1\n");
  EXPECT_EQ(board.now(), 5s);
  expect_reply("Fail", "测试成功");
}

TEST_P(IrCutLoopTest, TheFirstSwitchOfTheSecondCycleCanFailToo) {
  board.fault("ioctl /dev/qznio 0x40044704 #9");
  test.run();
  EXPECT_EQ(console.out(),
            std::string(test.banner) + kFirstDone + kNoDisable + kSwitchFailed + "fail num = -1\n");
  EXPECT_EQ(board.now(), 15s);
  expect_reply("Fail", "测试成功");
}

TEST_P(IrCutLoopTest, ADriverThatDoesNotOpenFailsTheTest) {
  board.fault("open /dev/qznio #1");
  test.run();
  EXPECT_EQ(console.out(), std::string(test.banner) + kSwitchFailed + "fail num = -1\n");
  EXPECT_EQ(board.now(), 5s);
  expect_reply("Fail", "测试成功");
}

}  // namespace
