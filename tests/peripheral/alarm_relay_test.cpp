// The alarm tests behind relays: two ports of one relay each, or one port of two.
#include <gtest/gtest.h>
#include <chrono>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_relay_script.h"
#include "tests/peripheral/alarm_reports.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kBanner = "alarm_test_rkd\n";
constexpr const char* kPortDone = "报警输入,报警输出测试成功.\n";

class AlarmRelayTest : public AlarmRun {
 protected:
  AlarmRelayTest() : AlarmRun("rkd1") {}

  static void begin(HardwareScript& it) {
    it.open("/dev/qznio");
    it.open("/dev/qznitc");
    it.open("/dev/alarm");
    it.test_control(1);
  }
  static void end(HardwareScript& it) {
    it.wait(500ms);
    it.test_control(0);
    it.close("/dev/qznio");
    it.close("/dev/qznitc");
    it.close("/dev/alarm");
  }
  /// Two repetitions of one port behind one relay.
  static void port_script(HardwareScript& it, unsigned in, unsigned out, unsigned relay) {
    it.input(in);
    it.output(out, 0);
    it.output(relay, 0);
    for (int repetition = 0; repetition < 2; ++repetition) one_relay_script(it, in, out, relay);
  }
  /// Two repetitions of the port behind two relays: {relay 78, relay 79, pause, output 76, rest}.
  static void two_relay_script(HardwareScript& it) {
    struct Step {
      unsigned relay1, relay2;
      std::chrono::milliseconds pause;
      unsigned out;
      std::chrono::milliseconds rest;
    };
    it.input(18);
    for (const unsigned line : {76U, 78U, 79U}) it.output(line, 0);
    for (int repetition = 0; repetition < 2; ++repetition) {
      for (const Step& step :
           {Step{0, 1, 0ms, 0, 0ms}, Step{0, 0, 0ms, 0, 0ms}, Step{1, 0, 500ms, 0, 0ms},
            Step{0, 1, 500ms, 1, 0ms}, Step{1, 0, 500ms, 0, 500ms}, Step{0, 0, 500ms, 1, 500ms}}) {
        it.drive(78, step.relay1);
        it.drive(79, step.relay2);
        it.wait(step.pause);
        it.drive(76, step.out);
        it.wait(500ms);
        it.read(18);
        it.wait(step.rest);
      }
    }
  }
  void run() { alarm_test_rkd(0, 535); }
  void run_three_outputs() { alarm_test_rkd_1in3out(0, 69634); }

  /// The console of a run that finds nothing, its ports' lines in each cycle.
  static std::string said(int ports) {
    std::string text = kBanner;
    for (int cycle = 1; cycle <= 2; ++cycle) {
      text += cycle_head(cycle);
      for (int port = 0; port < ports; ++port) text += kPortDone;
    }
    return text + "\n";
  }
};

TEST_F(AlarmRelayTest, TwoPortsAreCheckedInTwoCycles) {
  HardwareScript expected;
  begin(expected);
  for (int cycle = 0; cycle < 2; ++cycle) {
    port_script(expected, 18, 76, 78);
    port_script(expected, 19, 77, 79);
    expected.wait(500ms);
  }
  end(expected);
  run();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 25500ms);
}

TEST_F(AlarmRelayTest, OnePortWithThreeOutputsIsCheckedInTwoCycles) {
  with_family("rkd2");
  HardwareScript expected;
  begin(expected);
  for (int cycle = 0; cycle < 2; ++cycle) {
    two_relay_script(expected);
    expected.wait(500ms);
  }
  end(expected);
  run_three_outputs();
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 25500ms);
}

TEST_F(AlarmRelayTest, HealthyBoardsPass) {
  for (const char* family : {"rkd1", "rkd2"}) {
    SCOPED_TRACE(family);
    with_family(family);
    station.forget();
    console.clear();
    t1_sdk_alarm_test_2in4out();
    EXPECT_EQ(console.out(), said(2));
    EXPECT_EQ(console.err(), summary(2, 0));
    expect_pass(535);

    with_family(family);
    station.forget();
    console.clear();
    t1_sdk_alarm_test_1in3out();
    EXPECT_EQ(console.out(), said(1));
    EXPECT_EQ(console.err(), summary(2, 0));
    expect_pass(69634);
    EXPECT_EQ(gpiofd, -1);
  }
}

TEST_F(AlarmRelayTest, TheTestOfThreeOutputsShowsTheBannerOfTheOther) {
  run_three_outputs();
  EXPECT_EQ(console.lines().front(), "alarm_test_rkd");
}

TEST_F(AlarmRelayTest, AFailedReplyHasNoDescription) {
  board.fault("gpio 18 stuck high");
  run();
  expect_fail(535, "");
  station.forget();
  run_three_outputs();
  expect_fail(69634, "");
}

TEST_F(AlarmRelayTest, AnInputThatIsAlwaysHighIsNamedInEachRepetition) {
  const std::string bad = "报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:1.\n";
  board.fault("gpio 19 stuck high");
  run();
  const std::string cycle = kPortDone + bad + bad + kPortDone;
  EXPECT_EQ(console.out(), kBanner + cycle_head(1) + cycle + cycle_head(2) + cycle + "\nfail num = 10\n");
  EXPECT_EQ(console.err(), summary(2, 2));
}

TEST_F(AlarmRelayTest, AnInputThatIsAlwaysLowIsNamedInEachRepetition) {
  const std::string bad = "报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:0.\n";
  board.fault("gpio 18 stuck low");
  run();
  const std::string cycle = bad + bad + kPortDone + kPortDone;
  EXPECT_EQ(console.out(), kBanner + cycle_head(1) + cycle + cycle_head(2) + cycle + "\nfail num = 10\n");
  EXPECT_EQ(console.err(), summary(2, 2));
}

TEST_F(AlarmRelayTest, TheFirstWrongStepOfThreeOutputsIsNamed) {
  const struct {
    const char* fault;
    const char* bad;
  } rows[] = {
      {"gpio 18 stuck high", "继电器1断开,2闭合,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n"},
      {"gpio 18 stuck low", "继电器1断开,2断开,报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:0.\n"},
  };
  for (const auto& row : rows) {
    with_family("rkd2");
    station.forget();
    console.clear();
    board.fault(row.fault);
    run_three_outputs();
    const std::string cycle = std::string(row.bad) + row.bad + kPortDone;
    EXPECT_EQ(console.out(), kBanner + cycle_head(1) + cycle + cycle_head(2) + cycle + "\nfail num = 10\n");
    EXPECT_EQ(console.err(), summary(2, 2));
    expect_fail(69634, "");
  }
}

// ---- counting ---------------------------------------------------------------------------

TEST_F(AlarmRelayTest, AFailureInTheFirstCycleMakesTheSecondCountAsFailedToo) {
  board.fault("ioctl /dev/qznio 0x80044703 #1");
  run();
  EXPECT_EQ(console.err(), summary(2, 2));
  expect_fail(535, "");
}

TEST_F(AlarmRelayTest, WithThreeOutputsTheFirstCyclesFailureCountsTwiceToo) {
  board.fault("ioctl /dev/qznio 0x80044703 #1");
  run_three_outputs();
  EXPECT_EQ(console.err(), summary(2, 2));
  expect_fail(69634, "");
}

TEST_F(AlarmRelayTest, AFailureInTheSecondCycleCountsOnce) {
  board.fault("ioctl /dev/qznio 0x80044703 #13");  // twelve readings a cycle
  run();
  EXPECT_EQ(console.err(), summary(2, 1));
  expect_fail(535, "");
  with_family("rkd1");
  station.forget();
  console.clear();
  board.fault("ioctl /dev/qznio 0x80044703 #13");
  run_three_outputs();
  EXPECT_EQ(console.err(), summary(2, 1));
}

TEST_F(AlarmRelayTest, ALineWithoutDirectionCountsAsMinusOne) {
  board.fault("ioctl /dev/qznio 0x40044701 #1");
  run();
  EXPECT_EQ(console.out(), kBanner + cycle_head(1) + "set alarm_in gpio[18] direction input failure!\n" +
                               kPortDone + cycle_head(2) + kPortDone + kPortDone + "\nfail num = 10\n");
  EXPECT_EQ(console.err(), summary(2, 2));
  expect_fail(535, "");
}

TEST_F(AlarmRelayTest, ALineWithoutDirectionCancelsOneErrorOfTheOtherPort) {
  board.fault("ioctl /dev/qznio 0x40044701 #1");
  board.fault("ioctl /dev/qznio 0x80044703 #1");  // the other port's first reading
  run();
  EXPECT_EQ(console.out(), kBanner + cycle_head(1) + "set alarm_in gpio[18] direction input failure!\n" +
                               "gpio_get_value failed.\n" + kPortDone + cycle_head(2) + kPortDone +
                               kPortDone + "\n");
  EXPECT_EQ(console.err(), summary(2, 0));
  expect_pass(535);
}

TEST_F(AlarmRelayTest, ALineWithoutDirectionInBothCyclesStaysCounted) {
  board.fault("ioctl /dev/qznio 0x40044702");
  run_three_outputs();
  const std::string line = "set alarm_in gpio[76] direction output failure!\n";
  EXPECT_EQ(console.out(), kBanner + cycle_head(1) + line + cycle_head(2) + line + "\nfail num = 10\n");
  EXPECT_EQ(console.err(), summary(2, 2));
  EXPECT_EQ(board.now(), 1500ms);
}

// ---- modes and nodes --------------------------------------------------------------------

TEST_F(AlarmRelayTest, ModesUpToTwoRunTheSameTest) {
  run();
  const Lines calls = board.timed_hardware_trace();
  const std::string out = console.out();
  for (const unsigned mode : {1U, 2U}) {
    with_family("rkd1");
    station.forget();
    console.clear();
    alarm_test_rkd(mode, 535);
    EXPECT_EQ(board.timed_hardware_trace(), calls);
    EXPECT_EQ(console.out(), out);
    expect_pass(535);
    with_family("rkd1");
    station.forget();
    alarm_test_rkd_1in3out(mode, 69634);
    expect_pass(69634);
  }
}

TEST_F(AlarmRelayTest, AModeAboveTwoIsNotAnsweredAtAll) {
  for (const unsigned mode : {3U, 4U, 0xFFFFFFFFU}) {
    for (const auto variant : {alarm_test_rkd, alarm_test_rkd_1in3out}) {
      console.clear();
      variant(mode, 535);
      EXPECT_EQ(console.out(), std::string(kBanner) + "扩展板模式出错\n");
      EXPECT_EQ(console.err(), "");
      EXPECT_EQ(station.bytes(), "");
    }
  }
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(gpiofd, -1);
}

TEST_F(AlarmRelayTest, AllThreeNodesStayOpenWhileTheTestRuns) {
  board.at(12s, [this] {
    EXPECT_GT(gpiofd, 0);
    EXPECT_EQ(board.open_nodes(), (Lines{"/dev/qznio", "/dev/qznitc", "/dev/alarm"}));
  });
  run();
  EXPECT_EQ(gpiofd, -1);
}

}  // namespace
