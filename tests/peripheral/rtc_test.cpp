// The real-time clock.
#include "t1_sdk/boardtest/peripheral/rtc.h"

#include <gtest/gtest.h>
#include <chrono>
#include <string>
#include <vector>

#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_calls.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

const Lines kOpening = {"t1_sdk_rtc_test", "", "############RTC测试开始##############"};

class RtcTest : public StationRun {
 protected:
  void expect_reply(const char* value, const char* description) {
    ::expect_reply(station, 1536, "测试RTC时钟", value, description);
  }
  void expect_pass() { expect_reply("Pass", "测试成功"); }
  void expect_lines(const Lines& more) {
    Lines expected = kOpening;
    expected.insert(expected.end(), more.begin(), more.end());
    EXPECT_EQ(console.lines(), expected);
  }
  /// Runs the test on a clock that shows these seconds; the last line says how it went.
  std::string last_line_with_seconds(const std::vector<int>& seconds) {
    board->rtc.set_seconds(seconds);
    t1_sdk_rtc_test();
    return console.lines().back();
  }
  void expect_the_clock_fails() {
    expect_reply("Fail", "测试成功");
    const Lines lines = console.lines();
    ASSERT_EQ(lines.size(), kOpening.size() + 8);
    EXPECT_EQ(lines[9], "RTC测试失败");
    EXPECT_EQ(lines[10], "fail num = 3");
  }
};

TEST_F(RtcTest, AClockThatRunsPasses) {
  t1_sdk_rtc_test();
  expect_pass();
}

TEST_F(RtcTest, SixReadingsArePrinted) {
  t1_sdk_rtc_test();
  expect_lines({"2024-05-17 08:30:12", "2024-05-17 08:30:13", "2024-05-17 08:30:14", "2024-05-17 08:30:15",
                "2024-05-17 08:30:16", "2024-05-17 08:30:17", "rtc测试成功"});
}

TEST_F(RtcTest, SixReadingsAreMadeASecondApartAndAWaitFollowsTheLast) {
  board.clear_trace();
  t1_sdk_rtc_test();
  EXPECT_EQ(timed_node_calls(board),
            (Lines{"0.000000 open /dev/rtc = ok", "0.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "1.000000 ioctl /dev/rtc 0x80247009 {} = 0", "2.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "3.000000 ioctl /dev/rtc 0x80247009 {} = 0", "4.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "5.000000 ioctl /dev/rtc 0x80247009 {} = 0", "6.000000 close /dev/rtc = 0"}));
  EXPECT_EQ(board.now(), 6s);
}

TEST_F(RtcTest, AClockThatStandsStillFailsWithCode3) {
  board.fault("rtc stopped");
  t1_sdk_rtc_test();
  expect_the_clock_fails();
}

TEST_F(RtcTest, AClockThatStandsStillKeepsTheDescriptionOfSuccess) {
  board.fault("rtc stopped");
  t1_sdk_rtc_test();
  EXPECT_EQ(station.reply().description, "测试成功");
}

TEST_F(RtcTest, AClockThatPassesTheMinuteFrom57To2Passes) {
  EXPECT_EQ(last_line_with_seconds({57, 58, 59, 0, 1, 2}), "rtc测试成功");
  expect_pass();
}

TEST_F(RtcTest, AClockThatJumpsFrom57To2AtOncePasses) {
  EXPECT_EQ(last_line_with_seconds({57, 2}), "rtc测试成功");
  expect_pass();
}

TEST_F(RtcTest, EqualFirstAndLastSecondsCountSixtyAndFail) {
  EXPECT_EQ(last_line_with_seconds({30, 31, 32, 33, 34, 30}), "fail num = 3");
  expect_the_clock_fails();
}

TEST_F(RtcTest, SixSecondsInAMinutePass) {
  EXPECT_EQ(last_line_with_seconds({10, 11, 12, 14, 15, 16}), "rtc测试成功");
  expect_pass();
}

TEST_F(RtcTest, SixSecondsAcrossAMinutePass) {
  EXPECT_EQ(last_line_with_seconds({54, 55, 57, 58, 59, 0}), "rtc测试成功");
  expect_pass();
}

TEST_F(RtcTest, FourSecondsFail) {
  EXPECT_EQ(last_line_with_seconds({10, 10, 11, 12, 13, 14}), "fail num = 3");
  expect_the_clock_fails();
}

TEST_F(RtcTest, SevenSecondsFail) {
  EXPECT_EQ(last_line_with_seconds({10, 12, 14, 15, 16, 17}), "fail num = 3");
  expect_the_clock_fails();
}

TEST_F(RtcTest, FourSecondsAcrossAMinuteFail) {
  EXPECT_EQ(last_line_with_seconds({56, 57, 58, 59, 59, 0}), "fail num = 3");
  expect_the_clock_fails();
}

TEST_F(RtcTest, SevenSecondsAcrossAMinuteFail) {
  EXPECT_EQ(last_line_with_seconds({53, 55, 57, 58, 59, 0}), "fail num = 3");
  expect_the_clock_fails();
}

TEST_F(RtcTest, AClockThatRunsBackwardsFails) {
  EXPECT_EQ(last_line_with_seconds({10, 9, 8, 7, 6, 5}), "fail num = 3");
  expect_the_clock_fails();
}

TEST_F(RtcTest, TheReadingsBetweenTheFirstAndTheLastDoNotCount) {
  EXPECT_EQ(last_line_with_seconds({20, 50, 50, 51, 52, 25}), "rtc测试成功");
  expect_pass();
}

TEST_F(RtcTest, AClockThatCannotBeOpenedFailsWithCode1) {
  board.fault("open /dev/rtc");
  t1_sdk_rtc_test();
  expect_reply("Fail", "打开RTC设备失败");
  expect_lines({"打开RTC设备失败", "fail num = 1"});
  EXPECT_EQ(board.now(), 0s);
}

class RtcReadTest : public RtcTest, public ::testing::WithParamInterface<int> {};

TEST_P(RtcReadTest, AFailedReadingEndsTheTestWithCode2AndClosesTheNode) {
  const int number = GetParam();
  board.fault("ioctl /dev/rtc #" + std::to_string(number));
  board.clear_trace();
  t1_sdk_rtc_test();
  expect_reply("Fail", "RTC读取失败");

  Lines lines;
  for (int reading = 1; reading < number; ++reading) {
    lines.push_back("2024-05-17 08:30:" + std::to_string(11 + reading));
  }
  lines.insert(lines.end(), {"RTC读取失败", "fail num = 2"});
  expect_lines(lines);

  EXPECT_EQ(requests(board).size(), static_cast<std::size_t>(number));
  EXPECT_EQ(timed_node_calls(board).back(), std::to_string(number - 1) + ".000000 close /dev/rtc = 0");
  EXPECT_EQ(board.now(), std::chrono::seconds(number - 1)) << "no wait follows the failure";
}

INSTANTIATE_TEST_SUITE_P(EachOfSix, RtcReadTest, ::testing::Range(1, 7));

TEST_F(RtcTest, ASeventhReadingIsNotMade) {
  board.fault("ioctl /dev/rtc #7");
  t1_sdk_rtc_test();
  expect_pass();
}

TEST_F(RtcTest, AFailureIsForgottenByTheNextRun) {
  board.fault("open /dev/rtc #1");
  t1_sdk_rtc_test();
  station.forget();
  t1_sdk_rtc_test();
  expect_pass();
}

}  // namespace
