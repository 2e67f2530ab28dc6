// What the tests of the echoed RS485 port share: its texts, and a station that plays its part.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "tests/comm/rs485_run.h"

namespace rs485 {

inline const std::string kStart = "rs485_test\n" + kAnswered + kWaiting;
inline constexpr const char* kReady = "车检器检测线程已经停止，请在60秒内输入485测试数据\n";
inline constexpr const char* kFirstMissing = "<t1>第一次接收错误\n";
inline constexpr const char* kFirstWrong = "<t1>第一次接收数据并且校验错误\n";
inline constexpr const char* kFirstRight = "<t1>第一次接收数据并且校验正确\n";
inline constexpr const char* kSecondMissing = "<t1>第二次接收数据错误\n";
inline constexpr const char* kSecondWrong = "<t1>第二次接收数据并且校验错误\n";
inline constexpr const char* kSecondRight = "<t1>第二次接收数据并且校验正确。测试完成\n";

class EchoRun : public Rs485Run {
 protected:
  ~EchoRun() override { gpiofd = -1; }

  /// A station that sends one frame after the other, if any. The port is open since 5.02 s.
  void run(const std::string& first = "", const std::string& second = "") {
    if (!first.empty()) arrive(6s, 1, first);
    if (!second.empty()) arrive(7s, 1, second);
    rs485_test();
  }
  void run_anew(const std::string& first = "", const std::string& second = "") {
    next_board();
    run(first, second);
  }
  /// 15 fields, without leading zeros.
  static std::string fields(std::string bytes) {
    bytes.resize(15, '\0');
    return printed(bytes, false) + "\n";
  }
  static std::string echoing(const std::string& frame) {
    return kFirstRight + ("<t1>第一次开始发送数据:" + fields(frame));
  }
  static std::string second_data(const std::string& bytes) {
    return "<t1>第二次接收到的数据:" + fields(bytes);
  }
  static std::string failed(int code) { return "fail num = " + std::to_string(code) + "\n"; }

  void expect_first_wrong() {
    EXPECT_TRUE(console.out().ends_with(kReady + (kFirstWrong + failed(5))));
    expect_fail("第一次接收数据并且校验错误");
    EXPECT_EQ(board->uart(1).sent(), "");
  }
  void expect_second_wrong(const std::string& bytes) {
    EXPECT_TRUE(console.out().ends_with(kSecondWrong + second_data(bytes) + failed(3)));
    expect_fail("第二次接收数据并且校验错误");
  }
  void expect_second_right(const std::string& bytes) {
    EXPECT_TRUE(console.out().ends_with(kSecondRight + second_data(bytes)));
    expect_pass();
  }
};

}  // namespace rs485
