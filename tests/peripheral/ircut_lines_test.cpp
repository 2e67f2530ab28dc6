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

TEST_F(IrCutStepperTest, AHealthyFilterComesBackToItsSwitch) {
  ircut_test_65xx();
  EXPECT_EQ(board.timed_hardware_trace(), script(160, true)) << "its other stop is 160 steps away";
  EXPECT_EQ(board.now(), 10ms + 175 * 40ms + 160 * 20ms);
  expect_opened_read_write("/dev/qznio", 1);
  expect_console("ircut_test_65xx\n");
  expect_pass();
}

TEST_F(IrCutStepperTest, AHomeSwitchThatIsClosedEndsTheWayBackBeforeItsFirstStep) {
  board.fault("gpio 26 stuck high");
  ircut_test_65xx();
  EXPECT_EQ(board.timed_hardware_trace(), script(0, true));
  expect_pass();
}

TEST_F(IrCutStepperTest, AHomeSwitchThatNeverClosesEndsTheWayBackAfter175StepsAndTheTestPasses) {
  board.fault("home switch never");
  ircut_test_65xx();
  EXPECT_EQ(board.timed_hardware_trace(), script(175, false));
  expect_console("ircut_test_65xx\n");
  expect_pass();
}

TEST_F(IrCutStepperTest, LinesThatCannotBeDrivenOrReadDoNotFailTheTest) {
  board.fault("ioctl /dev/qznio 0x40044704");
  board.fault("ioctl /dev/qznio 0x80044703");
  ircut_test_65xx();
  EXPECT_EQ(board.now(), 10ms + 175 * 40ms + 175 * 20ms) << "the switch counts as open";
  expect_console("ircut_test_65xx\n");
  expect_pass();
}

TEST_F(IrCutStepperTest, WithoutTheDriverTheTestFails) {
  board.fault("open /dev/qznio");
  ircut_test_65xx();
  EXPECT_EQ(console.out(), "ircut_test_65xx\n打开/dev/qznio失败\nfail num = 1\n");
  EXPECT_EQ(console.err(), "Open /dev/qznio: No such device\n");
  expect_fail("打开/dev/qznio失败");
  EXPECT_EQ(board.now(), 0s);
}

// ---- shell commands ---------------------------------------------------------------------------

class IrCutShellTest : public IrCutRun {
 protected:
  IrCutShellTest() : IrCutRun("63xx") {}

  /// The commands are run three seconds apart, touch no node, and the test passes. What is said of each when
  /// it cannot be run, or nothing.
  void expect_run(const std::string& first, const std::string& second, const std::string& third) {
    ircut_test_63xx();
    Lines calls = board.timed_hardware_trace();
    for (std::string& call : calls) call.resize(call.rfind(" ="));
    EXPECT_EQ(calls, (Lines{"0.000000 system dayICR", "3.000000 system nightICR", "6.000000 system dayICR"}));
    EXPECT_EQ(board.now(), 9s);
    // The banner is that of another board.
    expect_console("ircut_test_65xx\n复位至白天...\n" + first + "切至晚上...\n" + second + "复位至白天...\n" +
                   third);
    expect_pass();
  }
  const std::string no_day = "icr向白天切换 failed!\n";
  const std::string no_night = "icr向晚上切换 failed!\n";
};

TEST_F(IrCutShellTest, TheFilterGoesToDayToNightAndToDay) {
  expect_run("", "", "");
  EXPECT_EQ(board->ir_filter.side(), Filter::day);
}

TEST_F(IrCutShellTest, CommandsThatCannotBeRunAreSaidAndPass) {
  board.fault("system #1");
  expect_run(no_day, "", "");
  next_board("63xx");
  board.fault("system #2+");
  expect_run("", no_night, no_day);
}

// ---- electromagnet ----------------------------------------------------------------------------

/// One switch of the electromagnet: day is the front coil, night the back coil.
void switch_script(HardwareScript& it, bool night) {
  it.open("/dev/qznio");
  it.drive(87, 0);
  it.drive(86, night ? 0 : 1);
  it.drive(88, night ? 1 : 0);
  it.drive(87, 1);
  it.close("/dev/qznio");
}

class IrCutMagnetTest : public IrCutRun {
 protected:
  IrCutMagnetTest() : IrCutRun("loop") {}
};

TEST_F(IrCutMagnetTest, DayIsTheFrontCoilAndNightTheBackCoilWhichStayEnabled) {
  for (const int night : {0, 1, 2, -1}) {
    board.clear_trace();
    EXPECT_EQ(loop_ircut_test(night), 0);
    HardwareScript expected;
    switch_script(expected, night != 0);
    EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
    EXPECT_EQ(board->ir_filter.side(), night == 0 ? Filter::day : Filter::night);
    EXPECT_EQ(board->general_io.level(87), 1);
  }
  expect_console("");
}

TEST_F(IrCutMagnetTest, WithoutTheDriverTheFilterCannotBeSwitched) {
  board.fault("open /dev/qznio");
  EXPECT_EQ(loop_ircut_test(0), -1);
}

TEST_F(IrCutMagnetTest, TheFirstWriteThatFailsEndsTheSwitchingAndIsNamed) {
  const char* const said[] = {
      "<gpio_set_icr_electro()> set ELECTRO_ENABLE 0 error!\n",
      "<gpio_set_icr_electro()> set ELECTRO_FRONT 1 error!\n",
      "<gpio_set_icr_electro()> set ELECTRO_BACK 0 error!\n",
      "<gpio_set_icr_electro()> set ELECTRO_ENABLE 1 error!\n",
  };
  for (std::size_t number = 1; number <= 4; ++number) {
    SCOPED_TRACE(number);
    next_board("loop");
    board.fault("ioctl /dev/qznio 0x40044704 #" + std::to_string(number));
    EXPECT_EQ(loop_ircut_test(1), -1);
    expect_console(said[number - 1]);
    EXPECT_EQ(board.hardware_trace().size(), number + 2) << "an opening, the writes, a closing";
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

class IrCutLoopTest : public IrCutRun, public ::testing::WithParamInterface<MagnetTest> {
 protected:
  IrCutLoopTest() : IrCutRun(GetParam().family) {}

  static constexpr const char* kFirstDone = "第0次测试成功\n";
  static constexpr const char* kBothDone = "第0次测试成功\n第1次测试成功\nICR 测试成功\n";
  static constexpr const char* kNoDisable = "<gpio_set_icr_electro()> set ELECTRO_ENABLE 0 error!\n";

  const MagnetTest& test = GetParam();

  /// The test passes with this on its console, after 20 seconds.
  void expect_passes(const std::string& said) {
    test.run();
    expect_console(test.banner + said);
    expect_pass();
    EXPECT_EQ(board.now(), 20s);
  }
  /// A first switch of a cycle fails. The description stays that of success.
  void expect_fails(const std::string& said, boardsim::Time end) {
    test.run();
    expect_console(test.banner + said + "ICR切换失败\nfail num = -1\n");
    expect_fail("测试成功");
    EXPECT_EQ(board.now(), end);
  }
};

INSTANTIATE_TEST_SUITE_P(On, IrCutLoopTest, ::testing::ValuesIn(kMagnetTests),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(IrCutLoopTest, SwitchesEveryFiveSecondsInTwoCyclesAndPasses) {
  HardwareScript expected;
  for (const bool other : {false, true, false, true}) {
    expected.wait(5s);
    switch_script(expected, test.night_first != other);
  }
  expect_passes(kBothDone);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  expect_opened_read_write("/dev/qznio", 4);
}

TEST_P(IrCutLoopTest, TheSecondSwitchOfACycleCannotFail) {
  board.fault("ioctl /dev/qznio 0x40044704 #5");
  expect_passes(std::string(kNoDisable) + kBothDone);
  next_board(test.family);
  board.fault("open /dev/qznio #2");
  board.fault("open /dev/qznio #4");
  expect_passes(kBothDone);
}

TEST_P(IrCutLoopTest, AFirstSwitchThatFailsEndsTheTestAndTheDescriptionStillSaysSuccess) {
  board.fault("ioctl /dev/qznio 0x40044704 #1");
  expect_fails(kNoDisable, 5s);
  next_board(test.family);
  board.fault("ioctl /dev/qznio 0x40044704 #9");
  expect_fails(std::string(kFirstDone) + kNoDisable, 15s);
  next_board(test.family);
  board.fault("open /dev/qznio #1");
  expect_fails("", 5s);
}

}  // namespace
