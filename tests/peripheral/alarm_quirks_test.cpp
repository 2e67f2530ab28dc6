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

TEST_F(AlarmQuirkTest, T3AndT4AreShortedInTheSameWords) {
  for (const char* port : {"T3", "T4"}) {
    next_board("normal");
    board.fault(std::string("input ") + port + " stuck low");
    alarm_test_64xx(0, 520);
    EXPECT_TRUE(printed("F3+、F3-短路或T1、T3短路或T2、T4短路")) << port;
    expect_fail(520, "测试失败:(F3+F3-)或(T1T3)或(T2T4)短路!!!");
  }
}

TEST_F(AlarmQuirkTest, ThePrintedTextOfAShortedSyncLacksAnOr) {
  board.fault("input SYNC stuck low");
  alarm_test_64xx(0, 520);
  EXPECT_TRUE(printed("F3+、F3-短路或T1、T3短路或T2、T4短路SYNC、GND短路"));
  expect_fail(520, "测试失败:(F3+F3-)或(T1T3)或(T2T4)或(SYNC、GND)短路!!!");
}

TEST_F(AlarmQuirkTest, OpeningErrorsShareTheirLineWithWhatFollows) {
  board.fault("open /dev/fpga");
  alarm_test_64xx(0, 520);
  EXPECT_TRUE(printed("Open /dev/fpga error.打开/dev/fpga失败"));
  const Lines both = {"/dev/qznio", "/dev/qznitc"};
  expect_open(both);
  const struct {
    void (*run)();
    const char* family;
  } silent[] = {{t1_sdk_alarm_test_8in9out, "k"},
                {t1_sdk_alarm_test_5in3out, "ma"},
                {t1_sdk_alarm_test_4in7out, "6444"}};
  for (const auto& row : silent) {
    next_board(row.family, both);
    board.fault("open /dev/fpga");
    row.run();
    EXPECT_NE(console.out().find("Open /dev/fpga error.fail num = "), std::string::npos) << row.family;
    EXPECT_EQ(station.reply().description, "打开/dev/fpga失败");
  }
}

TEST_F(AlarmQuirkTest, The68xxBoardsReportAnotherTextThanTheyPrint) {
  next_board("68xx", {"/dev/qznio", "/dev/qznitc"});
  board.fault("open /dev/alarm");
  t1_sdk_alarm_test_5in3out();
  EXPECT_TRUE(printed("Open /dev/alarm error.打开/dev/alarm失败"));
  expect_fail(520, "打开设备/dev/alarm失败");
}

TEST_F(AlarmQuirkTest, TheDescriptorOfARunThatMissedALaterNodeKeepsItsNumber) {
  board.fault("open /dev/qznitc");
  expect_open({"/dev/qznio"});
  alarm_test_64xx(0, 520);
  EXPECT_GT(gpiofd, 0);
}

}  // namespace
