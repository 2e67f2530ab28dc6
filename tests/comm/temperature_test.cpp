// The temperature sensor.
#include "t1_sdk/boardtest/comm/temperature.h"

#include <gtest/gtest.h>
#include <array>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "tests/harness/gbk.h"
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
};

TEST_F(TemperatureTest, AHealthySensorIsReadOnceUnderTheNameOfTheUsbTest) {
  t1_sdk_tmp_test();
  expect_pass_at("45.5");
  EXPECT_EQ(board.hardware_trace(), (Lines{"stat /proc/debug/temp1 = 0", "open /proc/debug/temp1 = ok",
                                           "read /proc/debug/temp1 32 = 6", "close /proc/debug/temp1 = 0"}));
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(TemperatureTest, WhatASensorFileHoldsIsReadAsANumberAndPasses) {
  const std::pair<std::string, const char*> rows[] = {
      {"45500", "45.5"},
      {"hot\n", "0.0"},
      {"", "0.0"},
      {"  21750 mC\n", "21.8"},
      {"-5500\n", "-5.5"},
      {"0x1000\n", "0.0"},
      {"010000\n", "10.0"},
      {"40150\n", "40.2"},  // below the middle in double precision, above it in single precision
      {std::string(28, ' ') + "1200099999", "1.2"},  // 32 bytes count
      {std::string(27, ' ') + "45500", "45.5"},
      {"45500\n" + std::string(5000, '7'), "45.5"},
  };
  for (const auto& [content, degrees] : rows) {
    SCOPED_TRACE(content);
    forget();
    board->sensors.set_content(1, content);
    t1_sdk_tmp_test();
    expect_pass_at(degrees);
  }
}

// ---- which sensor -----------------------------------------------------------------------------------

TEST_F(TemperatureTest, OfSensors1To20TheFirstThatIsThereIsRead) {
  const std::vector<std::pair<int, const char*>> boards[] = {
      {{1, "30000\n"}, {2, "99000\n"}}, {{7, "30000\n"}, {9, "40000\n"}}, {{20, "30000\n"}}};
  for (const auto& sensors : boards) {
    SCOPED_TRACE(sensors.front().first);
    forget();
    board->sensors.remove_all();
    for (const auto& [number, content] : sensors) board->sensors.set_content(number, content);
    t1_sdk_tmp_test();
    expect_pass_at("30.0");
  }
}

TEST_F(TemperatureTest, ABoardWithoutSensorFailsWithCode1AfterTwentyFiles) {
  board->sensors.remove_all();
  board->sensors.set_content(0, "21000\n");
  board->sensors.set_content(21, "21000\n");
  t1_sdk_tmp_test();
  expect_no_sensor();
  Lines expected;
  for (int number = 1; number <= 20; ++number) {
    expected.push_back("stat /proc/debug/temp" + std::to_string(number) + " = -1 ENOENT");
  }
  EXPECT_EQ(board.hardware_trace(), expected);
}

TEST_F(TemperatureTest, ADirectoryIsNoSensor) {
  board.fault("sensor 1 directory");
  t1_sdk_tmp_test();
  expect_no_sensor();
  forget();
  board->sensors.set_content(2, "33000\n");
  t1_sdk_tmp_test();
  expect_pass_at("33.0");
}

// ---- a sensor that fails ----------------------------------------------------------------------------

TEST_F(TemperatureTest, ASensorThatCannotBeOpenedOrReadFailsAndStillPrintsATemperature) {
  board->sensors.set_content(2, "33000\n");  // is not tried in its place
  struct {
    const char *fault, *error, *last;
  } const rows[] = {
      {"open /proc/debug/temp1 EACCES", "无法获取当前温度: Permission denied\n", "fail num = 3"},
      {"read /proc/debug/temp1 EIO", "无法获取当前温度 : Input/output error\n",
       "fail num = 4"}};  // with a blank
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    forget();
    board.clear_faults();
    board.fault(row.fault);
    t1_sdk_tmp_test();
    expect_reply("Fail", "无法获取当前温度");
    // The reader's -1 is a reading like any other: a thousandth below zero.
    EXPECT_EQ(console.lines(), (Lines{"t1_sdk_tmp_test", "无法获取当前温度", reading("-0.0"), row.last}));
    EXPECT_EQ(console.err(), row.error);
  }
}

// ---- the reader alone -------------------------------------------------------------------------------

class SensorReaderTest : public StationRun {
 protected:
  int read(const char* path) { return t1_sdk_get_temp1(path, &result, description.data()); }

  int result = 77;
  std::array<char, 512> description = {'o', 'l', 'd'};
};

TEST_F(SensorReaderTest, AReadingLeavesResultAndDescriptionAlone) {
  const std::pair<std::string, int> rows[] = {
      {"12345\n", 12345},
      {std::string(64, '9'), 2147483647},  // the largest number that the board has
      {"-1\n", -1}};                       // is no failure
  for (const auto& [content, value] : rows) {
    board->sensors.set_content(30, content);
    EXPECT_EQ(read("/proc/debug/temp30"), value);
    EXPECT_EQ(result, 77);
    EXPECT_EQ(utf8(description.data()), "old");
    EXPECT_EQ(console.out(), "");
  }
}

TEST_F(SensorReaderTest, WithoutAPathThereIsCode2) {
  EXPECT_EQ(read(nullptr), -1);
  EXPECT_EQ(result, 2);
  EXPECT_EQ(utf8(description.data()), "未指定温度传感器");
  EXPECT_EQ(console.out(), "未指定温度传感器\n");
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

}  // namespace
