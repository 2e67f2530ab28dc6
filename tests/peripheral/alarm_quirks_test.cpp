// Oddities of the alarm tests that stations have come to rely on and that belong to no single variant's
// tests.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_reports.h"

namespace {

class AlarmQuirkTest : public AlarmRun {
 protected:
  /// Goes on with another board, and with nothing said or heard; `left_open` is what this one will leave.
  void next_board(std::string_view family, Lines left_open = {}) {
    AlarmRun::next_board(family);
    expect_open(std::move(left_open));
  }
  bool printed(const std::string& line) const {
    const Lines lines = console.lines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
};

TEST_F(AlarmQuirkTest, FourKindsOfBoardsShowTheBannerOfThe65xxBoards) {
  alarm_test_64xx(0, 520);
  EXPECT_EQ(console.lines().front(), "alarm_test_65xx");
  next_board("k");
  alarm_test_64xx_k(3, 530);
  EXPECT_EQ(console.lines().front(), "alarm_test_65xx");
  next_board("6444");
  alarm_test_64xx_u(4, 519);
  EXPECT_EQ(console.lines().front(), "alarm_test_65xx");
  next_board("63xx", {"/dev/qznio"});
  alarm_test_1i1o(513);
  EXPECT_EQ(console.lines().front(), "alarm_test_65xx");
}

TEST_F(AlarmQuirkTest, ARelayCheckThatFailedStillSaysThatItSucceeded) {
  next_board("rkd1");
  board.fault("wire T1 cut");
  board.fault("wire T2 cut");
  t1_sdk_alarm_test_2in4out();
  const Lines lines = console.lines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "报警输入,报警输出测试成功."), 4);
  EXPECT_EQ(station.reply().value, "Fail");
  next_board("rkd2");
  board.fault("wire T1 cut");
  t1_sdk_alarm_test_1in3out();
  EXPECT_TRUE(printed("报警输入,报警输出测试成功."));
  EXPECT_EQ(station.reply().value, "Fail");
}

TEST_F(AlarmQuirkTest, TheStepsOfDriverBoardsNameRegisterValuesThatNobodyWrites) {
  for (const char* family : {"loop", "6444-j"}) {
    next_board(family, {"/dev/alarm"});
    family == std::string("loop") ? t1_sdk_alarm_test_4in5out() : t1_sdk_alarm_test_3in2out();
    EXPECT_NE(console.out().find("##1 0x1 0x1 0x1 0x1 0x0 0x80000018, 成功"), std::string::npos);
    for (const boardsim::Call& call : board.trace()) EXPECT_NE(call.node, "/dev/fpga");
  }
}

}  // namespace
