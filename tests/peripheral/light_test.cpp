// The built-in lights.
#include "t1_sdk/boardtest/peripheral/light.h"

#include <gtest/gtest.h>
#include <chrono>
#include <climits>
#include <string>
#include <vector>

#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_calls.h"
#include "tests/peripheral/hardware_script.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class LightTest : public StationRun {
 protected:
  static std::string channel(int chan, int period, int duty) {
    return "ioctl /dev/qznio 0x40044d02 {" + std::to_string(chan) + ", " + std::to_string(period) + ", " +
           std::to_string(duty) + "} = 0";
  }
  /// A request on a node that is opened for it.
  static Lines alone(const std::string& node, const std::string& request) {
    return {"open " + node + " = ok", request, "close " + node + " = 0"};
  }
};

// ---- the drivers ------------------------------------------------------------------------------

TEST_F(LightTest, OneIsSuccessWhenAPwmChannelIsSet) {
  pwm record = {3, 200, 40};
  EXPECT_EQ(light_set_pwm_param(&record), 1);
  EXPECT_EQ(board.hardware_trace(), alone("/dev/qznio", channel(3, 200, 40)));
  EXPECT_EQ(console.out(), "");
}

TEST_F(LightTest, WithoutARecordNoPwmChannelIsSet) {
  EXPECT_EQ(light_set_pwm_param(nullptr), 0);
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(console.out(), "");
}

TEST_F(LightTest, APositiveResultSetsNoPwmChannelEither) {
  board.fault("ioctl /dev/qznio 0x40044d02 result 5");
  pwm record = {0, 10000, 5000};
  EXPECT_EQ(light_set_pwm_param(&record), 0);
  EXPECT_EQ(console.out(), "ioctl error,ret = 5\n");
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/qznio = 0");
}

TEST_F(LightTest, AnRkdBoardSetsAPwmChannelAndSwitchesAnLed) {
  EXPECT_EQ(set_pwm_light_rkd(4, 100, 50), 0);
  EXPECT_EQ(board.hardware_trace(), alone("/dev/qznio", channel(4, 100, 50)));
  board.clear_trace();
  EXPECT_EQ(set_led_light_rkd(2, 1), 0);
  EXPECT_EQ(board.hardware_trace(), alone("/dev/led", "ioctl /dev/led 0x40044c01 {2, 1} = 0"));
  EXPECT_EQ(console.out(), "");
}

TEST_F(LightTest, AnRkdBoardTakesAPositiveResultForSuccess) {
  board.fault("ioctl /dev/qznio 0x40044d02 result 5");
  board.fault("ioctl /dev/led result 5");
  EXPECT_EQ(set_pwm_light_rkd(4, 100, 50), 0);
  EXPECT_EQ(set_led_light_rkd(2, 1), 0);
  EXPECT_EQ(console.out(), "");
}

TEST_F(LightTest, ADriverThatFailsIsSaidAndTheNodeIsClosed) {
  const auto set_param = [] {
    pwm record = {0, 10000, 5000};
    return light_set_pwm_param(&record);
  };
  const struct {
    const char* fault;
    int (*run)();
    int result;
    const char* said;
  } rows[] = {
      {"open /dev/qznio", set_param, 0, "board_test,pwm_set: open /dev/qznio error.\n"},
      {"ioctl /dev/qznio", set_param, 0, "ioctl error,ret = -1\n"},
      {"open /dev/qznio", [] { return set_pwm_light_rkd(4, 100, 50); }, -1,
       "set_pwm_light open qznio error\n"},
      {"ioctl /dev/qznio", [] { return set_pwm_light_rkd(4, 100, 50); }, -1,
       "set_pwm_light chan = 4, period = 100 duty = 50 ret:-1\n"},
      {"open /dev/led", [] { return set_led_light_rkd(2, 1); }, -1, "set_led_light open ledDevice error\n"},
      {"ioctl /dev/led EIO", [] { return set_led_light_rkd(2, 1); }, -1,
       "set_led_light ledIdx = 2, ledState = 1  errno = 5 \n"},
  };
  for (const auto& [fault, run, result, said] : rows) {
    SCOPED_TRACE(said);
    next_board("normal");
    board.fault(fault);
    EXPECT_EQ(run(), result);
    EXPECT_EQ(console.out(), said);
    EXPECT_EQ(board.open_nodes(), Lines{});
  }
}

// ---- percentages ------------------------------------------------------------------------------

TEST_F(LightTest, TheChannelIsAlwaysZeroAndTenPercentBecomeTwenty) {
  light_set_pwm_enable(3, 1, 10);
  EXPECT_EQ(requests(board), Lines{channel(0, 10000, 2000)});
  EXPECT_EQ(console.out(), "pwm.chan:0,duty:2000,period:10000\n");
}

TEST_F(LightTest, EveryPercentageHasItsDutyWhateverEnablesTheLight) {
  Lines expected;
  for (int percent = 0; percent <= 101; ++percent) {
    light_set_pwm_enable(percent, percent % 2 == 0 ? 2 : -1, percent);
    const int kept = percent == 0 ? 0 : percent < 20 ? 20 : percent > 50 ? 50 : percent;
    expected.push_back(channel(0, 10000, kept * 100));
  }
  light_set_pwm_enable(0, 1, INT_MAX);
  expected.push_back(channel(0, 10000, 5000));
  EXPECT_EQ(requests(board), expected);
}

TEST_F(LightTest, ANegativePercentageIsNotRaised) {
  light_set_pwm_enable(0, 1, -1);
  light_set_pwm_enable(0, 1, -30);
  EXPECT_EQ(requests(board), (Lines{channel(0, 10000, -100), channel(0, 10000, -3000)}));
}

TEST_F(LightTest, ADisabledLightHasNoDutyWhateverThePercentage) {
  for (const int percent : {0, 10, 50, 80, -3}) light_set_pwm_enable(3, 0, percent);
  EXPECT_EQ(requests(board), Lines(5, channel(0, 10000, 0)));
}

// ---- the built-in light -----------------------------------------------------------------------

class InLightTest : public StationRun {
 protected:
  void run_and_pass() {
    t1_sdk_in_light();
    expect_reply(station, 14592, "测试内置灯", "Pass", "");
    EXPECT_EQ(board.now(), 10s);
  }
};

TEST_F(InLightTest, TheLightIsOnForTenSecondsAtHalfDuty) {
  board.at(9s, [this] { EXPECT_EQ(station.bytes(), "") << "the reply comes when it is off again"; });
  run_and_pass();
  EXPECT_EQ(console.lines(),
            (Lines{"t1_sdk_light", "pwm.chan:0,duty:5000,period:10000", "pwm.chan:0,duty:0,period:10000"}));
  HardwareScript expected;
  expected.open("/dev/qznio").call("ioctl /dev/qznio 0x40044d02 {0, 10000, 5000} = 0").close("/dev/qznio");
  expected.wait(10s);
  expected.open("/dev/qznio").call("ioctl /dev/qznio 0x40044d02 {0, 10000, 0} = 0").close("/dev/qznio");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
}

TEST_F(InLightTest, ALightWhoseDriverFailsPasses) {
  for (const auto& [fault, said] :
       {std::pair{"open /dev/qznio", "board_test,pwm_set: open /dev/qznio error."},
        {"ioctl /dev/qznio", "ioctl error,ret = -1"}}) {
    next_board("normal");
    board.fault(fault);
    run_and_pass();
    EXPECT_EQ(console.lines(), (Lines{"t1_sdk_light", "pwm.chan:0,duty:5000,period:10000", said,
                                      "pwm.chan:0,duty:0,period:10000", said}));
  }
}

// ---- the steady light of RKD boards -----------------------------------------------------------

class SteadyLightTest : public StationRun {
 protected:
  SteadyLightTest() { next_board("rkd2"); }

  void run_and_pass(const Lines& said = {}) {
    t1_sdk_in_light_rkd();
    expect_reply(station, 69633, "测试内置常亮灯", "Pass", "");
    Lines expected = {"t1_sdk_in_light_rkd"};
    expected.insert(expected.end(), said.begin(), said.end());
    EXPECT_EQ(console.lines(), expected);
    EXPECT_EQ(board.now(), 10s);
  }
  /// The light is switched on, and off ten seconds later; each time the board is asked who it is.
  static Lines script(bool has_led) {
    HardwareScript it;
    for (const std::string state : {"1", "0"}) {
      it.query();
      if (has_led)
        it.open("/dev/led").call("ioctl /dev/led 0x40044c01 {2, " + state + "} = 0").close("/dev/led");
      it.open("/dev/qznio");
      it.call("ioctl /dev/qznio 0x40044d02 {4, 100, " + std::string(state == "1" ? "50" : "0") + "} = 0");
      it.close("/dev/qznio");
      if (state == "1") it.wait(10s);
    }
    return it.lines();
  }
};

TEST_F(SteadyLightTest, TheSecondRkdVariantSwitchesItsLedBesideThePwmChannel) {
  run_and_pass();
  EXPECT_EQ(board.timed_hardware_trace(), script(true));
}

TEST_F(SteadyLightTest, AnyOtherBoardDrivesThePwmChannelAloneButIsAskedTwice) {
  for (const char* family : {"rkd1", "normal"}) {
    next_board(family);
    run_and_pass();
    EXPECT_EQ(board.timed_hardware_trace(), script(false)) << family;
  }
}

TEST_F(SteadyLightTest, ABoardThatCannotBeAskedAgainLeavesItsLedOn) {
  board.fault("ioctl /dev/qznio 0x80044801 #2");
  run_and_pass({"ioctl error,ret = -1"});
  EXPECT_EQ(board->led.state(2), 1U);
  EXPECT_EQ(board->general_io.pwm(4).duty, 0);
}

TEST_F(SteadyLightTest, ABoardThatCannotBeAskedAtFirstSwitchesItsLedOffOnly) {
  board.fault("ioctl /dev/qznio 0x80044801 #1");
  run_and_pass({"ioctl error,ret = -1"});
  EXPECT_EQ(requests(board),
            (Lines{"ioctl /dev/qznio 0x80044801 {} = -1 EIO", "ioctl /dev/qznio 0x40044d02 {4, 100, 50} = 0",
                   "ioctl /dev/qznio 0x80044801 {} = 0", "ioctl /dev/led 0x40044c01 {2, 0} = 0",
                   "ioctl /dev/qznio 0x40044d02 {4, 100, 0} = 0"}));
}

TEST_F(SteadyLightTest, ASteadyLightWhoseDriversFailPasses) {
  board.fault("ioctl /dev/led EIO");
  board.fault("ioctl /dev/qznio 0x40044d02 EIO");
  run_and_pass({"set_led_light ledIdx = 2, ledState = 1  errno = 5 ",
                "set_pwm_light chan = 4, period = 100 duty = 50 ret:-1",
                "set_led_light ledIdx = 2, ledState = 0  errno = 5 ",
                "set_pwm_light chan = 4, period = 100 duty = 0 ret:-1"});
}

}  // namespace
