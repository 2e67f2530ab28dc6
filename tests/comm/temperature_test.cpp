// The temperature sensor.
#include "t1_sdk/boardtest/comm/temperature.h"

#include <gtest/gtest.h>
#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/gbk.h"
#include "tests/harness/on_board.h"
#include "tests/harness/station_run.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

std::string reading(const std::string& degrees) {
  return "温度传感器测得当前温度：" + degrees + " 摄氏度";
}

class TemperatureTest : public StationRun {
 protected:
  void expect_reply(const char* value, const char* description) {
    ::expect_reply(station, 7426, "测试USB", value, description);
  }
  void expect_pass_at(const std::string& degrees) {
    expect_reply("Pass", "测试成功");
    EXPECT_EQ(console.lines(), (Lines{"t1_sdk_tmp_test", reading(degrees)}));
    EXPECT_EQ(console.err(), "");
  }
  void expect_no_sensor() {
    expect_reply("Fail", "未发现温度传感器");
    EXPECT_EQ(console.lines(), (Lines{"t1_sdk_tmp_test", "未发现温度传感器", "fail num = 1"}));
  }
  /// The one sensor file holds `content`; the test runs.
  void run_with(const std::string& content) {
    board->sensors.remove_all();
    board->sensors.set_content(1, content);
    t1_sdk_tmp_test();
  }
};

TEST_F(TemperatureTest, ASensorAt45500Reports45Point5Degrees) {
  run_with("45500");
  expect_pass_at("45.5");
}

TEST_F(TemperatureTest, TheLineEndOfASensorFileDoesNotMatter) {
  run_with("45500\n");
  expect_pass_at("45.5");
}

TEST_F(TemperatureTest, TheTemperatureTestCarriesTheNameOfTheUsbTest) {
  t1_sdk_tmp_test();
  EXPECT_EQ(station.reply().name, "测试USB");
}

TEST_F(TemperatureTest, TheReplyIsTheSameAsThatOfOtherTestsInForm) {
  t1_sdk_tmp_test();
  // "测试USB", "测试结果" and "测试成功" in GBK.
  EXPECT_EQ(station.reply().raw,
            "<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n"
            "<TestItem>\r\n<TestCode>7426</TestCode>\r\n<TestName>\xB2\xE2\xCA\xD4\x55\x53\x42</TestName>\r\n"
            "<Result>\r\n<ResultItem>\r\n<Name>\xB2\xE2\xCA\xD4\xBD\xE1\xB9\xFB</Name>\r\n"
            "<Value>Pass</Value>\r\n<Description>\xB2\xE2\xCA\xD4\xB3\xC9\xB9\xA6</Description>\r\n"
            "</ResultItem>\r\n</Result>\r\n</TestItem>\r\n");
}

TEST_F(TemperatureTest, TheSensorFileIsReadOnceAndClosed) {
  board.clear_trace();
  t1_sdk_tmp_test();
  EXPECT_EQ(board.hardware_trace(), (Lines{"stat /proc/debug/temp1 = 0", "open /proc/debug/temp1 = ok",
                                           "read /proc/debug/temp1 32 = 6", "close /proc/debug/temp1 = 0"}));
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(TemperatureTest, TextThatIsNoNumberReportsZeroDegreesAndPasses) {
  run_with("hot\n");
  expect_pass_at("0.0");
}

TEST_F(TemperatureTest, AnEmptyFileReportsZeroDegreesAndPasses) {
  run_with("");
  expect_pass_at("0.0");
}

TEST_F(TemperatureTest, TextBehindTheNumberDoesNotMatter) {
  run_with("  21750 mC\n");
  expect_pass_at("21.8");
}

TEST_F(TemperatureTest, FrostIsReported) {
  run_with("-5500\n");
  expect_pass_at("-5.5");
}

TEST_F(TemperatureTest, ANumberIsReadAsDecimal) {
  run_with("0x1000\n");
  expect_pass_at("0.0");
}

TEST_F(TemperatureTest, ALeadingZeroDoesNotMakeTheNumberOctal) {
  run_with("010000\n");
  expect_pass_at("10.0");
}

TEST_F(TemperatureTest, TheTemperatureIsKeptInSinglePrecision) {
  run_with("40150\n");  // 40.15 lies below the middle in double precision and above it in single precision
  expect_pass_at("40.2");
}

TEST_F(TemperatureTest, OfALongFileOnlyTheFirst32BytesCount) {
  run_with(std::string(28, ' ') + "1200099999");
  expect_pass_at("1.2");
}

TEST_F(TemperatureTest, AFileOfExactly32BytesIsReadWhole) {
  run_with(std::string(27, ' ') + "45500");
  expect_pass_at("45.5");
}

TEST_F(TemperatureTest, ThousandsOfBytesAreNotReadEither) {
  run_with("45500\n" + std::string(5000, '7'));
  expect_pass_at("45.5");
}

TEST_F(TemperatureTest, TheFirstSensorWins) {
  board->sensors.set_content(2, "99000\n");
  board->sensors.set_content(1, "30000\n");
  t1_sdk_tmp_test();
  expect_pass_at("30.0");
}

TEST_F(TemperatureTest, MissingNumbersAreSkipped) {
  board->sensors.remove_all();
  board->sensors.set_content(7, "30000\n");
  board->sensors.set_content(9, "40000\n");
  t1_sdk_tmp_test();
  expect_pass_at("30.0");
}

TEST_F(TemperatureTest, TheTwentiethSensorIsFound) {
  board->sensors.remove_all();
  board->sensors.set_content(20, "20000\n");
  t1_sdk_tmp_test();
  expect_pass_at("20.0");
}

TEST_F(TemperatureTest, SensorsFrom21UpwardsAreNotFound) {
  board->sensors.remove_all();
  board->sensors.set_content(21, "21000\n");
  board->sensors.set_content(22, "22000\n");
  t1_sdk_tmp_test();
  expect_no_sensor();
}

TEST_F(TemperatureTest, ASensorNumberedZeroIsNotFound) {
  board->sensors.remove_all();
  board->sensors.set_content(0, "21000\n");
  t1_sdk_tmp_test();
  expect_no_sensor();
}

TEST_F(TemperatureTest, ABoardWithoutSensorFailsWithCode1) {
  board.fault("sensors none");
  t1_sdk_tmp_test();
  expect_no_sensor();
}

TEST_F(TemperatureTest, TwentyFilesAreLookedForBeforeGivingUp) {
  board.fault("sensors none");
  board.clear_trace();
  t1_sdk_tmp_test();
  Lines expected;
  for (int number = 1; number <= 20; ++number) {
    expected.push_back("stat /proc/debug/temp" + std::to_string(number) + " = -1 ENOENT");
  }
  EXPECT_EQ(board.hardware_trace(), expected);
}

TEST_F(TemperatureTest, ADirectoryIsNoSensor) {
  board.fault("sensor 1 directory");
  board->sensors.set_content(2, "33000\n");
  t1_sdk_tmp_test();
  expect_pass_at("33.0");
}

TEST_F(TemperatureTest, NothingButADirectoryIsABoardWithoutSensor) {
  board.fault("sensor 1 directory");
  t1_sdk_tmp_test();
  expect_no_sensor();
}

TEST_F(TemperatureTest, ASensorThatCannotBeOpenedFailsWithCode3) {
  board.fault("open /proc/debug/temp1 EACCES");
  t1_sdk_tmp_test();
  expect_reply("Fail", "无法获取当前温度");
  // The reader's -1 is a reading like any other: a thousandth below zero.
  EXPECT_EQ(console.lines(), (Lines{"t1_sdk_tmp_test", "无法获取当前温度", reading("-0.0"), "fail num = 3"}));
  EXPECT_EQ(console.err(), "无法获取当前温度: Permission denied\n");
}

TEST_F(TemperatureTest, ASensorThatCannotBeReadFailsWithCode4) {
  board.fault("sensor 1 unreadable");
  t1_sdk_tmp_test();
  expect_reply("Fail", "无法获取当前温度");
  EXPECT_EQ(console.lines(), (Lines{"t1_sdk_tmp_test", "无法获取当前温度", reading("-0.0"), "fail num = 4"}));
  EXPECT_EQ(console.err(), "无法获取当前温度 : Input/output error\n");
}

TEST_F(TemperatureTest, AnotherSensorIsNotTriedAfterAFailure) {
  board->sensors.set_content(2, "33000\n");
  board.fault("read /proc/debug/temp1");
  t1_sdk_tmp_test();
  expect_reply("Fail", "无法获取当前温度");
}

TEST_F(TemperatureTest, AFailureIsForgottenByTheNextRun) {
  board.fault("open /proc/debug/temp1 #1");
  t1_sdk_tmp_test();
  station.forget();
  console.clear();
  t1_sdk_tmp_test();
  expect_pass_at("45.5");
}

class SensorReaderTest : public OnBoard {
 protected:
  Console console;
  int result = 77;
  std::array<char, 512> description = {'o', 'l', 'd'};

  int read(const char* path) { return t1_sdk_get_temp1(path, &result, description.data()); }
  std::string described() const { return utf8(description.data()); }
};

TEST_F(SensorReaderTest, AReadingLeavesResultAndDescriptionAlone) {
  EXPECT_EQ(read("/proc/debug/temp1"), 45500);
  EXPECT_EQ(result, 77);
  EXPECT_EQ(described(), "old");
  EXPECT_EQ(console.out(), "");
}

TEST_F(SensorReaderTest, AnyPathIsRead) {
  board->sensors.set_content(30, "12345\n");
  EXPECT_EQ(read("/proc/debug/temp30"), 12345);
}

TEST_F(SensorReaderTest, WithoutAPathThereIsCode2) {
  EXPECT_EQ(read(nullptr), -1);
  EXPECT_EQ(result, 2);
  EXPECT_EQ(described(), "未指定温度传感器");
  EXPECT_EQ(console.out(), "未指定温度传感器\n");
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(SensorReaderTest, AFileThatIsNotThereGivesCode3) {
  EXPECT_EQ(read("/proc/debug/temp9"), -1);
  EXPECT_EQ(result, 3);
  EXPECT_EQ(described(), "无法获取当前温度");
  EXPECT_EQ(console.out(), "无法获取当前温度\n");
  EXPECT_EQ(console.err(), "无法获取当前温度: No such file or directory\n");
}

TEST_F(SensorReaderTest, AFileThatCannotBeReadGivesCode4AndABlankBehindTheErrorText) {
  board.fault("read /proc/debug/temp1 EIO");
  EXPECT_EQ(read("/proc/debug/temp1"), -1);
  EXPECT_EQ(result, 4);
  EXPECT_EQ(described(), "无法获取当前温度");
  EXPECT_EQ(console.out(), "无法获取当前温度\n");
  EXPECT_EQ(console.err(), "无法获取当前温度 : Input/output error\n");
}

TEST_F(SensorReaderTest, AFileFullOfDigitsIsReadWithinItsBuffer) {
  board->sensors.set_content(1, std::string(64, '9'));
  EXPECT_EQ(read("/proc/debug/temp1"), 2147483647) << "the largest number that the board has";
  EXPECT_EQ(result, 77);
  EXPECT_EQ(console.out(), "");
}

TEST_F(SensorReaderTest, ASensorAtMinus1IsNoFailure) {
  board->sensors.set_content(1, "-1\n");
  EXPECT_EQ(read("/proc/debug/temp1"), -1);
  EXPECT_EQ(result, 77);
}

}  // namespace
