// The built-in lights.
#include "t1_sdk/boardtest/peripheral/light.h"

#include <gtest/gtest.h>
#include <chrono>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_calls.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class LightTest : public OnBoard {
 protected:
  Console console;
};

std::string duty_request(int duty) {
  return "ioctl /dev/qznio 0x40044d02 {0, 10000, " + std::to_string(duty) + "} = 0";
}

TEST_F(LightTest, TheRecordsAreWordsOf32BitsInTheirOrder) {
  static_assert(sizeof(pwm) == 12 && sizeof(led_ctrl) == 8);
  static_assert(offsetof(pwm, chan) == 0 && offsetof(pwm, period) == 4 && offsetof(pwm, duty) == 8);
  static_assert(offsetof(led_ctrl, idx) == 0 && offsetof(led_ctrl, state) == 4);
  static_assert(std::is_signed_v<decltype(pwm::chan)> && std::is_unsigned_v<decltype(led_ctrl::idx)>);
}

TEST_F(LightTest, OneIsSuccessWhenAPwmChannelIsSet) {
  pwm record = {3, 200, 40};
  EXPECT_EQ(light_set_pwm_param(&record), 1);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/qznio = ok", "ioctl /dev/qznio 0x40044d02 {3, 200, 40} = 0",
                   "close /dev/qznio = 0"}));
  EXPECT_EQ(board->general_io.pwm(3).period, 200);
  EXPECT_EQ(board->general_io.pwm(3).duty, 40);
}

TEST_F(LightTest, WithoutARecordNoPwmChannelIsSet) {
  EXPECT_EQ(light_set_pwm_param(nullptr), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(LightTest, ADriverThatCannotBeOpenedSetsNoPwmChannel) {
  board.fault("open /dev/qznio");
  pwm record = {0, 10000, 5000};
  EXPECT_EQ(light_set_pwm_param(&record), 0);
  EXPECT_EQ(console.out(), "board_test,pwm_set: open /dev/qznio error.\n");
}

TEST_F(LightTest, ARefusedPwmRecordIsSaidAndTheNodeIsClosed) {
  board.fault("ioctl /dev/qznio 0x40044d02");
  pwm record = {0, 10000, 5000};
  EXPECT_EQ(light_set_pwm_param(&record), 0);
  EXPECT_EQ(console.out(), "ioctl error,ret = -1\n");
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/qznio = 0");
}

TEST_F(LightTest, APositiveResultSetsNoPwmChannelEither) {
  board.fault("ioctl /dev/qznio 0x40044d02 result 5");
  pwm record = {0, 10000, 5000};
  EXPECT_EQ(light_set_pwm_param(&record), 0);
  EXPECT_EQ(console.out(), "ioctl error,ret = 5\n");
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/qznio = 0");
}

TEST_F(LightTest, TheChannelIsAlwaysZeroAndTenPercentBecomeTwenty) {
  light_set_pwm_enable(3, 1, 10);
  EXPECT_EQ(requests(board), Lines{duty_request(2000)});
  EXPECT_EQ(console.out(), "pwm.chan:0,duty:2000,period:10000\n");
}

TEST_F(LightTest, EightyPercentBecomeFifty) {
  light_set_pwm_enable(3, 1, 80);
  EXPECT_EQ(requests(board), Lines{duty_request(5000)});
  EXPECT_EQ(console.out(), "pwm.chan:0,duty:5000,period:10000\n");
}

TEST_F(LightTest, ADisabledLightHasNoDutyWhateverThePercentage) {
  for (const int percent : {0, 10, 50, 80, -3}) light_set_pwm_enable(3, 0, percent);
  EXPECT_EQ(requests(board), Lines(5, duty_request(0)));
}

TEST_F(LightTest, AnyEnableButZeroEnablesTheLight) {
  for (const int enable : {1, 2, -1}) light_set_pwm_enable(0, enable, 30);
  EXPECT_EQ(requests(board), Lines(3, duty_request(3000)));
}

TEST_F(LightTest, EveryPercentageHasItsDuty) {
  Lines expected;
  for (int percent = 0; percent <= 101; ++percent) {
    light_set_pwm_enable(percent, 1, percent);
    const int kept = percent == 0 ? 0 : percent < 20 ? 20 : percent > 50 ? 50 : percent;
    expected.push_back(duty_request(kept * 100));
  }
  EXPECT_EQ(requests(board), expected);
}

TEST_F(LightTest, TheLimitsOfThePercentageAreExact) {
  for (const int percent : {0, 1, 19, 20, 21, 49, 50, 51, 100, 2147483647})
    light_set_pwm_enable(0, 1, percent);
  Lines expected;
  for (const int duty : {0, 2000, 2000, 2000, 2100, 4900, 5000, 5000, 5000, 5000}) {
    expected.push_back(duty_request(duty));
  }
  EXPECT_EQ(requests(board), expected);
}

TEST_F(LightTest, ANegativePercentageIsNotRaised) {
  light_set_pwm_enable(0, 1, -1);
  light_set_pwm_enable(0, 1, -30);
  EXPECT_EQ(requests(board), (Lines{duty_request(-100), duty_request(-3000)}));
}

TEST_F(LightTest, AnRkdBoardSetsAPwmChannel) {
  EXPECT_EQ(set_pwm_light_rkd(4, 100, 50), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/qznio = ok", "ioctl /dev/qznio 0x40044d02 {4, 100, 50} = 0",
                   "close /dev/qznio = 0"}));
}

TEST_F(LightTest, AnRkdBoardTakesAPositiveResultForSuccess) {
  board.fault("ioctl /dev/qznio 0x40044d02 result 5");
  board.fault("ioctl /dev/led result 5");
  EXPECT_EQ(set_pwm_light_rkd(4, 100, 50), 0);
  EXPECT_EQ(set_led_light_rkd(2, 1), 0);
  EXPECT_EQ(console.out(), "");
}

TEST_F(LightTest, AnRkdBoardWithoutTheDriverSaysSo) {
  board.fault("open /dev/qznio");
  EXPECT_EQ(set_pwm_light_rkd(4, 100, 50), -1);
  EXPECT_EQ(console.out(), "set_pwm_light open qznio error\n");
}

TEST_F(LightTest, APwmRecordRefusedOnAnRkdBoardIsShownAndTheNodeIsClosed) {
  board.fault("ioctl /dev/qznio 0x40044d02");
  EXPECT_EQ(set_pwm_light_rkd(4, 100, 50), -1);
  EXPECT_EQ(console.out(), "set_pwm_light chan = 4, period = 100 duty = 50 ret:-1\n");
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/qznio = 0");
}

TEST_F(LightTest, AnRkdBoardSwitchesAnLed) {
  EXPECT_EQ(set_led_light_rkd(2, 1), 0);
  EXPECT_EQ(board->led.state(2), 1U);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/led = ok", "ioctl /dev/led 0x40044c01 {2, 1} = 0", "close /dev/led = 0"}));
}

TEST_F(LightTest, AnRkdBoardWithoutLedDriverSaysSo) {
  board.fault("open /dev/led");
  EXPECT_EQ(set_led_light_rkd(2, 1), -1);
  EXPECT_EQ(console.out(), "set_led_light open ledDevice error\n");
}

TEST_F(LightTest, AnLedThatCannotBeSwitchedIsShownWithTheErrorNumberAndTheNodeIsClosed) {
  board.fault("ioctl /dev/led EIO");
  EXPECT_EQ(set_led_light_rkd(2, 1), -1);
  EXPECT_EQ(console.out(), "set_led_light ledIdx = 2, ledState = 1  errno = 5 \n");
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/led = 0");
}

class LightReportTest : public StationRun {
 protected:
  void expect_pass(int code, const char* name) { expect_reply(station, code, name, "Pass", ""); }
};

TEST_F(LightReportTest, TheLightIsOnForTenSecondsAtHalfDuty) {
  board.clear_trace();
  t1_sdk_in_light();
  EXPECT_EQ(timed_node_calls(board), (Lines{
                                         "0.000000 open /dev/qznio = ok",
                                         "0.000000 ioctl /dev/qznio 0x40044d02 {0, 10000, 5000} = 0",
                                         "0.000000 close /dev/qznio = 0",
                                         "10.000000 open /dev/qznio = ok",
                                         "10.000000 ioctl /dev/qznio 0x40044d02 {0, 10000, 0} = 0",
                                         "10.000000 close /dev/qznio = 0",
                                     }));
  EXPECT_EQ(board.now(), 10s);
}

TEST_F(LightReportTest, TheLightTestPassesWithAnEmptyDescription) {
  t1_sdk_in_light();
  expect_pass(0x3900, "测试内置灯");
  EXPECT_EQ(console.lines(),
            (Lines{"t1_sdk_light", "pwm.chan:0,duty:5000,period:10000", "pwm.chan:0,duty:0,period:10000"}));
}

TEST_F(LightReportTest, TheReplyComesWhenTheLightIsOffAgain) {
  board.at(9s, [this] { EXPECT_EQ(station.bytes(), ""); });
  t1_sdk_in_light();
  EXPECT_FALSE(station.bytes().empty());
}

TEST_F(LightReportTest, ALightWhoseDriverCannotBeOpenedPasses) {
  board.fault("open /dev/qznio");
  t1_sdk_in_light();
  expect_pass(14592, "测试内置灯");
  EXPECT_EQ(console.lines(),
            (Lines{"t1_sdk_light", "pwm.chan:0,duty:5000,period:10000",
                   "board_test,pwm_set: open /dev/qznio error.", "pwm.chan:0,duty:0,period:10000",
                   "board_test,pwm_set: open /dev/qznio error."}));
  EXPECT_EQ(board.now(), 10s);
}

TEST_F(LightReportTest, ALightWhoseDriverRefusesPasses) {
  board.fault("ioctl /dev/qznio");
  t1_sdk_in_light();
  expect_pass(14592, "测试内置灯");
  EXPECT_EQ(console.lines(),
            (Lines{"t1_sdk_light", "pwm.chan:0,duty:5000,period:10000", "ioctl error,ret = -1",
                   "pwm.chan:0,duty:0,period:10000", "ioctl error,ret = -1"}));
}

class SteadyLightTest : public LightReportTest {
 protected:
  /// The identity query that the test makes at a time of so many seconds.
  static Lines query(const std::string& time) {
    return {time + " open /dev/qznio = ok", time + " ioctl /dev/qznio 0x80044801 {} = 0",
            time + " close /dev/qznio = 0"};
  }
  static Lines led(const std::string& time, const std::string& state) {
    return {time + " open /dev/led = ok", time + " ioctl /dev/led 0x40044c01 {2, " + state + "} = 0",
            time + " close /dev/led = 0"};
  }
  static Lines channel(const std::string& time, const std::string& duty) {
    return {time + " open /dev/qznio = ok", time + " ioctl /dev/qznio 0x40044d02 {4, 100, " + duty + "} = 0",
            time + " close /dev/qznio = 0"};
  }
  static Lines join(const std::vector<Lines>& parts) {
    Lines all;
    for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  }

  const std::string start = "0.000000", end = "10.000000";
};

TEST_F(SteadyLightTest, TheSecondRkdVariantSwitchesItsLedBesideThePwmChannel) {
  board.set_type(0xA60A3);
  board.clear_trace();
  t1_sdk_in_light_rkd();
  EXPECT_EQ(timed_node_calls(board), join({query(start), led(start, "1"), channel(start, "50"), query(end),
                                           led(end, "0"), channel(end, "0")}));
  EXPECT_EQ(board.now(), 10s);
}

TEST_F(SteadyLightTest, TheFirstRkdVariantHasNoLedButIsAskedTwice) {
  board.set_type(0xA60A0);
  board.clear_trace();
  t1_sdk_in_light_rkd();
  EXPECT_EQ(timed_node_calls(board),
            join({query(start), channel(start, "50"), query(end), channel(end, "0")}));
}

TEST_F(SteadyLightTest, AnyOtherBoardDrivesThePwmChannelAlone) {
  board.set_type(0x9601);
  board.clear_trace();
  t1_sdk_in_light_rkd();
  EXPECT_EQ(timed_node_calls(board),
            join({query(start), channel(start, "50"), query(end), channel(end, "0")}));
}

TEST_F(SteadyLightTest, TheSteadyLightTestPassesWithAnEmptyDescription) {
  board.set_type(0xA60A3);
  t1_sdk_in_light_rkd();
  expect_pass(0x11001, "测试内置常亮灯");
  EXPECT_EQ(console.lines(), (Lines{"t1_sdk_in_light_rkd"}));
}

TEST_F(SteadyLightTest, ABoardThatCannotBeAskedAgainLeavesItsLedOn) {
  board.set_type(0xA60A3);
  board.fault("ioctl /dev/qznio 0x80044801 #2");
  t1_sdk_in_light_rkd();
  EXPECT_EQ(board->led.state(2), 1U);
  EXPECT_EQ(board->general_io.pwm(4).duty, 0);
  expect_pass(69633, "测试内置常亮灯");
  EXPECT_EQ(console.lines(), (Lines{"t1_sdk_in_light_rkd", "ioctl error,ret = -1"}));
}

TEST_F(SteadyLightTest, ABoardThatCannotBeAskedAtFirstSwitchesItsLedOffOnly) {
  board.set_type(0xA60A3);
  board.fault("ioctl /dev/qznio 0x80044801 #1");
  t1_sdk_in_light_rkd();
  EXPECT_EQ(requests(board),
            (Lines{"ioctl /dev/qznio 0x80044801 {} = -1 EIO", "ioctl /dev/qznio 0x40044d02 {4, 100, 50} = 0",
                   "ioctl /dev/qznio 0x80044801 {} = 0", "ioctl /dev/led 0x40044c01 {2, 0} = 0",
                   "ioctl /dev/qznio 0x40044d02 {4, 100, 0} = 0"}));
}

TEST_F(SteadyLightTest, ASteadyLightWhoseDriversFailPasses) {
  board.set_type(0xA60A3);
  board.fault("ioctl /dev/led EIO");
  board.fault("ioctl /dev/qznio 0x40044d02 EIO");
  t1_sdk_in_light_rkd();
  expect_pass(69633, "测试内置常亮灯");
  EXPECT_EQ(console.lines(),
            (Lines{"t1_sdk_in_light_rkd", "set_led_light ledIdx = 2, ledState = 1  errno = 5 ",
                   "set_pwm_light chan = 4, period = 100 duty = 50 ret:-1",
                   "set_led_light ledIdx = 2, ledState = 0  errno = 5 ",
                   "set_pwm_light chan = 4, period = 100 duty = 0 ret:-1"}));
  EXPECT_EQ(board.now(), 10s);
}

TEST_F(SteadyLightTest, ASteadyLightWithoutDriversPasses) {
  board.fault("open /dev/qznio");
  t1_sdk_in_light_rkd();
  expect_pass(69633, "测试内置常亮灯");
  EXPECT_EQ(console.lines(),
            (Lines{"t1_sdk_in_light_rkd", "open /dev/qznio error.", "set_pwm_light open qznio error",
                   "open /dev/qznio error.", "set_pwm_light open qznio error"}));
}

}  // namespace
