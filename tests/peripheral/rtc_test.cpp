// The real-time clock.
#include "t1_sdk/boardtest/peripheral/rtc.h"

#include <gtest/gtest.h>
#include <chrono>
#include <string>
#include <vector>

#include "tests/harness/station_run.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class RtcTest : public StationRun {
 protected:
  void run_and_expect(const std::string& value, const std::string& description) {
    t1_sdk_rtc_test();
    expect_reply(station, 1536, "测试RTC时钟", value, description);
  }
  void expect_lines(const Lines& more) {
    Lines expected = {"t1_sdk_rtc_test", "", "############RTC测试开始##############"};
    expected.insert(expected.end(), more.begin(), more.end());
    EXPECT_EQ(console.lines(), expected);
  }
  /// The test fails although every reading succeeded. The description stays that of success.
  void expect_the_clock_fails() {
    run_and_expect("Fail", "测试成功");
    const Lines lines = console.lines();
    ASSERT_EQ(lines.size(), 3U + 8U);
    EXPECT_EQ(lines[9], "RTC测试失败");
    EXPECT_EQ(lines[10], "fail num = 3");
  }
};

TEST_F(RtcTest, AClockThatRunsIsReadSixTimesASecondApartAndPasses) {
  run_and_expect("Pass", "测试成功");
  expect_lines({"2024-05-17 08:30:12", "2024-05-17 08:30:13", "2024-05-17 08:30:14", "2024-05-17 08:30:15",
                "2024-05-17 08:30:16", "2024-05-17 08:30:17", "rtc测试成功"});
  EXPECT_EQ(board.timed_hardware_trace(),
            (Lines{"0.000000 open /dev/rtc = ok", "0.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "1.000000 ioctl /dev/rtc 0x80247009 {} = 0", "2.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "3.000000 ioctl /dev/rtc 0x80247009 {} = 0", "4.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "5.000000 ioctl /dev/rtc 0x80247009 {} = 0", "6.000000 close /dev/rtc = 0"}));
}

TEST_F(RtcTest, AClockThatStandsStillFailsWithCode3AndTheDescriptionOfSuccess) {
  board.fault("rtc stopped");
  expect_the_clock_fails();
}

TEST_F(RtcTest, FiveOrSixSecondsBetweenTheFirstAndTheLastReadingPass) {
  for (const std::vector<int>& seconds :
       {std::vector{57, 58, 59, 0, 1, 2},
        {57, 2},
        {10, 11, 12, 14, 15, 16},
        {54, 55, 57, 58, 59, 0},
        {20, 50, 50, 51, 52, 25}}) {  // the readings between them do not count
    SCOPED_TRACE(::testing::PrintToString(seconds));
    forget();
    board->rtc.set_seconds(seconds);
    run_and_expect("Pass", "测试成功");
    EXPECT_EQ(console.lines().back(), "rtc测试成功");
  }
}

TEST_F(RtcTest, AnyOtherNumberOfSecondsFails) {
  for (const std::vector<int>& seconds : {std::vector{10, 10, 11, 12, 13, 14},
                                          {10, 12, 14, 15, 16, 17},
                                          {56, 57, 58, 59, 59, 0},
                                          {53, 55, 57, 58, 59, 0},
                                          {10, 9, 8, 7, 6, 5}}) {
    SCOPED_TRACE(::testing::PrintToString(seconds));
    forget();
    board->rtc.set_seconds(seconds);
    expect_the_clock_fails();
  }
}

TEST_F(RtcTest, EqualFirstAndLastSecondsCountSixtyAndFail) {
  board->rtc.set_seconds({30, 31, 32, 33, 34, 30});
  expect_the_clock_fails();
}

TEST_F(RtcTest, AClockThatCannotBeOpenedFailsWithCode1) {
  board.fault("open /dev/rtc");
  run_and_expect("Fail", "打开RTC设备失败");
  expect_lines({"打开RTC设备失败", "fail num = 1"});
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(RtcTest, AFailedReadingEndsTheTestWithCode2AndClosesTheNode) {
  Lines readings;
  for (int number = 1; number <= 6; ++number) {
    SCOPED_TRACE(number);
    next_board("normal");
    board.fault("ioctl /dev/rtc #" + std::to_string(number));
    run_and_expect("Fail", "RTC读取失败");
    Lines lines = readings;
    lines.insert(lines.end(), {"RTC读取失败", "fail num = 2"});
    expect_lines(lines);
    EXPECT_EQ(calls("ioctl"), static_cast<std::size_t>(number));
    EXPECT_EQ(board.hardware_trace().back(), "close /dev/rtc = 0");
    EXPECT_EQ(board.now(), std::chrono::seconds(number - 1)) << "no wait follows the failure";
    readings.push_back("2024-05-17 08:30:" + std::to_string(11 + number));
  }
}

}  // namespace
