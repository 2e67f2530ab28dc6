// The fan of the WPF boards.
#include "t1_sdk/boardtest/peripheral/fan.h"

#include <gtest/gtest.h>
#include <chrono>
#include <string>
#include <vector>

#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_calls.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class FanTest : public StationRun {};

TEST_F(FanTest, TheFanRunsForOneSecondAndRestsForTwoTwice) {
  fan_test_wpf();
  Lines expected = {"0.000000 ioctl /dev/tcs 0x40045402 {4, 1} = 0"};
  for (const std::string start : {"0", "3"}) {
    expected.push_back(start + ".000000 ioctl /dev/tcs 0x40045402 {67, 6} = 0");
    expected.push_back((start == "0" ? "1" : "4") +
                       std::string(".000000 ioctl /dev/tcs 0x40045402 {68, 6} = 0"));
  }
  Lines requests;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "ioctl") requests.push_back(call.timed_text());
  }
  EXPECT_EQ(requests, expected);
  EXPECT_EQ(board.now(), 6s);
}

TEST_F(FanTest, EachStepIsSaidOnTheConsoleBeforeIt) {
  board.at(500ms, [this] { EXPECT_EQ(console.lines(), (Lines{"手动控制风扇模式", "打开风扇"})); });
  board.at(2s, [this] { EXPECT_EQ(console.lines(), (Lines{"手动控制风扇模式", "打开风扇", "关闭风扇"})); });
  fan_test_wpf();
  EXPECT_EQ(console.lines(),
            (Lines{"手动控制风扇模式", "打开风扇", "关闭风扇", "打开风扇", "关闭风扇", "风扇开关测试结束"}));
}

TEST_F(FanTest, TheStationHearsNothingOfTheFan) {
  fan_test_wpf();
  EXPECT_EQ(station.bytes(), "");
}

TEST_F(FanTest, ACoprocessorThatCannotBeReachedStopsTheTest) {
  board.fault("open /dev/tcs");
  fan_test_wpf();
  EXPECT_EQ(console.lines(), (Lines{"get stm8 handle error", "手动控制风扇命令发送失败"}));
  EXPECT_EQ(requests(board), Lines{});
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(FanTest, ACoprocessorThatRefusesManualModeStopsTheTest) {
  board.fault("ioctl /dev/tcs #1");
  fan_test_wpf();
  EXPECT_EQ(console.lines(), (Lines{"write stm8 reg addr 0x4 err!", "手动控制风扇命令发送失败"}));
  EXPECT_EQ(requests(board).size(), 1U);
  EXPECT_EQ(board.now(), 0s);
  expect_open({"/dev/tcs"});
}

TEST_F(FanTest, AFanThatDoesNotSwitchOnDoesNotStopTheTest) {
  board.fault("ioctl /dev/tcs #2");
  fan_test_wpf();
  EXPECT_EQ(console.lines(), (Lines{"手动控制风扇模式", "打开风扇", "write stm8 reg addr 0x43 err!",
                                    "关闭风扇", "打开风扇", "关闭风扇", "风扇开关测试结束"}));
  EXPECT_EQ(requests(board).size(), 5U);
  EXPECT_EQ(board.now(), 6s);
  expect_open({"/dev/tcs"});
}

}  // namespace
