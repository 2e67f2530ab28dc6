// The tests of the board, over the wire: what the station reads and what the hardware sees.
#include <chrono>

#include "tests/e2e/on_server.h"
#include "tests/harness/golden.h"

namespace {

using namespace std::chrono_literals;

/// A board of any family with a greeted station.
class HardwareTest : public ::testing::Test {
 protected:
  void switch_on(const std::vector<std::string>& options = {}) {
    box_ = std::make_unique<BoardUnderTest>(options);
    station_ = std::make_unique<Station>(*box_);
    station_->take_greeting();
    box_->expect_lines({"T1 started!", "HeartBeatThread started"});
  }
  ~HardwareTest() override { station_.reset(); }

  BoardUnderTest& board() { return *box_; }
  Station& station() { return *station_; }
  /// Requests a test, lets its time pass and takes its reply.
  std::string reply_after(int code, BoardUnderTest::Time time) {
    station().request(code);
    board().advance(time);
    int prompts = 0;
    std::string reply = station().next_reply(prompts);
    board().expect_lines({"RECV COMMANDS:", request_of(code)});
    return reply;
  }

 private:
  std::unique_ptr<BoardUnderTest> box_;
  std::unique_ptr<Station> station_;
};

// ---- clock ----------------------------------------------------------------------------------------------

using BoardClockTest = HardwareTest;

TEST_F(BoardClockTest, AClockThatRunsPasses) {
  switch_on();
  EXPECT_EQ(reply_after(1536, 6s), golden::kClockPasses);
  board().expect_lines({"t1_sdk_rtc_test", "", "############RTC测试开始##############", "2024-05-17 08:30:12",
                        "2024-05-17 08:30:13", "2024-05-17 08:30:14", "2024-05-17 08:30:15",
                        "2024-05-17 08:30:16", "2024-05-17 08:30:17", "rtc测试成功"});
  EXPECT_EQ(board().hardware_trace(),
            (Lines{"0.000000 open /dev/rtc = ok", "0.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "1.000000 ioctl /dev/rtc 0x80247009 {} = 0", "2.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "3.000000 ioctl /dev/rtc 0x80247009 {} = 0", "4.000000 ioctl /dev/rtc 0x80247009 {} = 0",
                   "5.000000 ioctl /dev/rtc 0x80247009 {} = 0", "6.000000 close /dev/rtc = 0"}));
}

TEST_F(BoardClockTest, TheReplyComesAfterSixSecondsAndNotEarlier) {
  switch_on();
  station().request(1536);
  board().advance(5999999us);
  station().expect_prompts(1);
  board().advance(1us);
  EXPECT_EQ(station().next_record(), golden::kClockPasses);
}

TEST_F(BoardClockTest, AClockThatStandsStillFailsAndSaysThatItSucceeded) {
  switch_on({"--fault", "rtc stopped"});
  EXPECT_EQ(reply_after(1536, 6s), golden::kClockStandsStill);
  const Lines lines = board().lines_until("fail num = 3");
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.back(), "RTC测试失败");
}

TEST_F(BoardClockTest, AClockThatPassesTheMinuteFrom57To2Passes) {
  switch_on({"--fault", "rtc seconds 57 58 59 0 1 2"});
  EXPECT_EQ(reply_after(1536, 6s), golden::kClockPasses);
}

TEST_F(BoardClockTest, AClockThatJumpsFrom57To2Passes) {
  switch_on({"--fault", "rtc seconds 57 2"});
  EXPECT_EQ(reply_after(1536, 6s), golden::kClockPasses);
}

TEST_F(BoardClockTest, AClockThatCannotBeOpenedFails) {
  switch_on({"--fault", "open /dev/rtc"});
  EXPECT_EQ(reply_after(1536, 0s), golden::kClockMissing);
  EXPECT_EQ(board().hardware_trace(), Lines{"0.000000 open /dev/rtc = -1 ENODEV"});
  board().lines_until("打开RTC设备失败");
  board().expect_lines({"fail num = 1"});
}

class ClockReadingTest : public HardwareTest, public ::testing::WithParamInterface<int> {};

TEST_P(ClockReadingTest, WhenItFailsTheTestEndsAtOnce) {
  const int number = GetParam();
  switch_on({"--fault", "ioctl /dev/rtc #" + std::to_string(number)});
  EXPECT_EQ(reply_after(1536, std::chrono::seconds(number - 1)), golden::kClockUnreadable);
  const Lines trace = board().hardware_trace();
  ASSERT_EQ(trace.size(), static_cast<std::size_t>(number) + 2);
  const std::string moment = std::to_string(number - 1) + ".000000 ";
  EXPECT_EQ(trace[trace.size() - 2], moment + "ioctl /dev/rtc 0x80247009 {} = -1 EIO");
  EXPECT_EQ(trace.back(), moment + "close /dev/rtc = 0");
  board().lines_until("RTC读取失败");
  board().expect_lines({"fail num = 2"});
}

INSTANTIATE_TEST_SUITE_P(EachOfSix, ClockReadingTest, ::testing::Range(1, 7));

// ---- lights ---------------------------------------------------------------------------------------------

using BoardLightTest = HardwareTest;

TEST_F(BoardLightTest, TheBuiltInLightShinesForTenSeconds) {
  switch_on();
  EXPECT_EQ(reply_after(14592, 10s), golden::kLight);
  board().expect_lines({"T1_TESTCODE_LIGHT", "t1_sdk_light", "pwm.chan:0,duty:5000,period:10000",
                        "pwm.chan:0,duty:0,period:10000"});
  EXPECT_EQ(
      board().hardware_trace(),
      (Lines{"0.000000 open /dev/qznio = ok", "0.000000 ioctl /dev/qznio 0x40044d02 {0, 10000, 5000} = 0",
             "0.000000 close /dev/qznio = 0", "10.000000 open /dev/qznio = ok",
             "10.000000 ioctl /dev/qznio 0x40044d02 {0, 10000, 0} = 0", "10.000000 close /dev/qznio = 0"}));
}

TEST_F(BoardLightTest, TheReplyComesAfterTenSecondsAndNotEarlier) {
  switch_on();
  station().request(14592);
  board().advance(9999999us);
  station().expect_prompts(1);
  board().advance(1us);
  int prompts = 0;
  EXPECT_EQ(station().next_reply(prompts), golden::kLight);
}

TEST_F(BoardLightTest, ALightThatCannotBeDrivenPassesAllTheSame) {
  switch_on({"--fault", "open /dev/qznio"});
  EXPECT_EQ(reply_after(14592, 10s), golden::kLight);
  board().lines_until("board_test,pwm_set: open /dev/qznio error.");
}

TEST_F(BoardLightTest, TheSteadyLightOfTheFirstRkdBoardIsPwmAlone) {
  switch_on({"--board", "rkd1"});
  EXPECT_EQ(reply_after(69633, 10s), golden::kSteadyLight);
  board().expect_lines({"T1_TESTCODE_IN_LIGHT", "t1_sdk_in_light_rkd"});
  EXPECT_EQ(
      board().hardware_trace(),
      (Lines{"0.000000 open /dev/qznio = ok", "0.000000 ioctl /dev/qznio 0x80044801 {} = 0",
             "0.000000 close /dev/qznio = 0", "0.000000 open /dev/qznio = ok",
             "0.000000 ioctl /dev/qznio 0x40044d02 {4, 100, 50} = 0", "0.000000 close /dev/qznio = 0",
             "10.000000 open /dev/qznio = ok", "10.000000 ioctl /dev/qznio 0x80044801 {} = 0",
             "10.000000 close /dev/qznio = 0", "10.000000 open /dev/qznio = ok",
             "10.000000 ioctl /dev/qznio 0x40044d02 {4, 100, 0} = 0", "10.000000 close /dev/qznio = 0"}));
}

TEST_F(BoardLightTest, TheSteadyLightOfTheSecondRkdBoardIsPwmAndADiode) {
  switch_on({"--board", "rkd2"});
  EXPECT_EQ(reply_after(69633, 10s), golden::kSteadyLight);
  EXPECT_EQ(
      board().hardware_trace(),
      (Lines{"0.000000 open /dev/qznio = ok", "0.000000 ioctl /dev/qznio 0x80044801 {} = 0",
             "0.000000 close /dev/qznio = 0", "0.000000 open /dev/led = ok",
             "0.000000 ioctl /dev/led 0x40044c01 {2, 1} = 0", "0.000000 close /dev/led = 0",
             "0.000000 open /dev/qznio = ok", "0.000000 ioctl /dev/qznio 0x40044d02 {4, 100, 50} = 0",
             "0.000000 close /dev/qznio = 0", "10.000000 open /dev/qznio = ok",
             "10.000000 ioctl /dev/qznio 0x80044801 {} = 0", "10.000000 close /dev/qznio = 0",
             "10.000000 open /dev/led = ok", "10.000000 ioctl /dev/led 0x40044c01 {2, 0} = 0",
             "10.000000 close /dev/led = 0", "10.000000 open /dev/qznio = ok",
             "10.000000 ioctl /dev/qznio 0x40044d02 {4, 100, 0} = 0", "10.000000 close /dev/qznio = 0"}));
}

// ---- temperature ----------------------------------------------------------------------------------------

using BoardTemperatureTest = HardwareTest;

TEST_F(BoardTemperatureTest, ASensorThatHolds45500Measures45Point5Degrees) {
  switch_on();
  EXPECT_EQ(reply_after(7426, 0s), golden::kTemperature);
  board().expect_lines({"T1_TESTCODE_TEMP", "t1_sdk_tmp_test", "温度传感器测得当前温度：45.5 摄氏度"});
  EXPECT_EQ(board().hardware_trace(),
            (Lines{"0.000000 stat /proc/debug/temp1 = 0", "0.000000 open /proc/debug/temp1 = ok",
                   "0.000000 read /proc/debug/temp1 32 = 6", "0.000000 close /proc/debug/temp1 = 0"}));
}

TEST_F(BoardTemperatureTest, ASensorThatHoldsTextMeasuresZeroDegreesAndPasses) {
  switch_on({"--fault", "sensor 1 text hot stuff"});
  EXPECT_EQ(reply_after(7426, 0s), golden::kTemperature);
  board().lines_until("温度传感器测得当前温度：0.0 摄氏度");
}

TEST_F(BoardTemperatureTest, ABoardWithoutSensorsFails) {
  switch_on({"--fault", "sensors none"});
  EXPECT_EQ(reply_after(7426, 0s), golden::kTemperatureMissing);
  board().expect_lines({"T1_TESTCODE_TEMP", "t1_sdk_tmp_test", "未发现温度传感器", "fail num = 1"});
  Lines looks;
  for (int n = 1; n <= 20; ++n) {
    looks.push_back("0.000000 stat /proc/debug/temp" + std::to_string(n) + " = -1 ENOENT");
  }
  EXPECT_EQ(board().hardware_trace(), looks);
}

TEST_F(BoardTemperatureTest, ASensorWithNumber21IsNotFound) {
  switch_on({"--fault", "sensors none", "--fault", "sensor 21 text 45500"});
  EXPECT_EQ(reply_after(7426, 0s), golden::kTemperatureMissing);
}

TEST_F(BoardTemperatureTest, ASensorThatCannotBeReadFails) {
  switch_on({"--fault", "sensor 1 unreadable"});
  board().expect_complaint("无法获取当前温度");
  EXPECT_EQ(reply_after(7426, 0s), golden::kTemperatureUnreadable);
  board().lines_until("fail num = 4");
}

// ---- restart --------------------------------------------------------------------------------------------

using BoardRestartTest = HardwareTest;

TEST_F(BoardRestartTest, TheStationHasItsReplyBeforeTheBoardGoesDown) {
  switch_on();
  EXPECT_EQ(reply_after(-15, 0s), golden::kRestart);
  board().expect_lines({"T1_TESTCODE_CENTAURUS", "t1_sdk_centaurus_test"});
  EXPECT_EQ(board().hardware_trace(), Lines());

  board().advance(499999us);
  EXPECT_EQ(board().trace_of(" usleep "), Lines{"0.000000 usleep 500000"});
  board().advance(1us);
  board().expect_lines({"测试应用程序,正在重新启动......"});
  board().advance(499999us);
  EXPECT_FALSE(board().has_ended());
  EXPECT_FALSE(station().is_closed());

  board().advance_to_its_end(1us);
  EXPECT_EQ(board().exit_status(), 0);
  EXPECT_EQ(board().remaining_lines(), Lines{"boardsim: the board restarts"});
  EXPECT_EQ(board().hardware_trace(), Lines{"1.000000 reboot 0x1234567 = 0"});
  EXPECT_EQ(station().records_until_close(), Records());
}

TEST_F(BoardRestartTest, WhenTheRestartCallReturnsTheServerGoesOn) {
  switch_on({"--reboot", "return"});
  EXPECT_EQ(reply_after(-15, 1s), golden::kRestart);
  EXPECT_EQ(board().hardware_trace(), Lines{"1.000000 reboot 0x1234567 = 0"});
  station().request(7426);
  EXPECT_EQ(station().next_record(), golden::kTemperature);
}

}  // namespace
