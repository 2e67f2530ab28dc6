// The alarm test of one input and one output on plain GPIO lines.
#include <array>
#include <chrono>
#include <string>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "tests/harness/gbk.h"
#include "tests/peripheral/alarm_room.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kGood = "报警输入1,报警输出1测试成功.\n";

std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

class AlarmOneLineTest : public AlarmRoom {
 protected:
  AlarmOneLineTest() : AlarmRoom("63xx") { expect_open({"/dev/qznio"}); }

  /// Goes on with another board, unless this one is still new.
  void next_board() {
    if (!board.trace().empty()) AlarmRoom::next_board("63xx");
  }
  static std::string said(const std::string& repetitions, const std::string& result) {
    return "alarm_test_65xx\n" + repetitions +
           "\n================报警输入1,报警输出1测试结束================\n!!!报警输入1,报警输出1" + result;
  }
  /// Runs, and expects what is said when the first repetitions go like this and the others are good; `end` is
  /// when the reply is sent.
  void expect_failures(int failures, const std::string& failure, std::chrono::milliseconds end) {
    t1_sdk_alarm_test_1in1out();
    const int good = 5 - failures;
    EXPECT_EQ(console.out(), said(times(failures, failure) + times(good, kGood),
                                  "测试成功-" + std::to_string(good) + "-次，失败-" +
                                      std::to_string(failures) + "-次!!!\nfail num = 10\n"));
    expect_fail(513, "测试失败");
    EXPECT_EQ(board.now(), end);
  }
  /// The same on a new board, when a fault spoils the first repetition only.
  void expect_first_fails(const std::string& fault, const std::string& failure,
                          std::chrono::milliseconds end) {
    SCOPED_TRACE(fault);
    next_board();
    board.fault(fault);
    expect_failures(1, failure, end);
  }
};

TEST_F(AlarmOneLineTest, AHealthyBoardPassesFiveRepetitionsWithInput20AndOutput21) {
  board.at(2s, [] { EXPECT_EQ(gpiofd, -1) << "the tests' common descriptor is not used"; });
  t1_sdk_alarm_test_1in1out();
  HardwareScript expected;
  expected.open("/dev/qznio").input(20).output(21, 0);
  for (int repetition = 0; repetition < 5; ++repetition) {
    for (const unsigned level : {1U, 0U}) expected.drive(21, level).wait(500ms).read(20);
  }
  expect_trace(expected);
  EXPECT_EQ(console.out(), said(times(5, kGood), "测试全部成功!!!\n"));
  EXPECT_EQ(console.err(), "");
  expect_pass(513);
  EXPECT_EQ(board.now(), 5s);
}

TEST_F(AlarmOneLineTest, OneMoreNodeStaysOpenWithEachRun) {
  t1_sdk_alarm_test_1in1out();
  t1_sdk_alarm_test_1in1out();
  expect_open({"/dev/qznio", "/dev/qznio"});
}

TEST_F(AlarmOneLineTest, AnInputThatIsAlwaysHighFailsWhileTheOutputIsOn) {
  board.fault("input T1 stuck high");
  expect_failures(5, "报警输入1,报警输出1测试失败,alarm_in.value:1.\n", 2500ms);
}

TEST_F(AlarmOneLineTest, AnInputThatIsAlwaysLowFailsWhileTheOutputIsOffWithABlankBeforeTheColon) {
  board.fault("input T1 stuck low");
  expect_failures(5, "报警输入1,报警输出1测试失败,alarm_in.value :0.\n", 5s);
}

TEST_F(AlarmOneLineTest, ACallThatFailsIsSaidAndEndsItsRepetitionAndFailsTheTest) {
  expect_first_fails("ioctl /dev/qznio 0x40044704 #1", "设置报警输出1为触发状态失败.\n", 4s);
  expect_first_fails("ioctl /dev/qznio 0x40044704 #2", "设置报警输出1为非触发状态失败.\n", 4500ms);
  expect_first_fails("ioctl /dev/qznio 0x80044703 #1", "报警输出1为触发状态,读取报警输入1失败.\n", 4500ms);
  expect_first_fails("ioctl /dev/qznio 0x80044703 #2", "报警输出1为非触发状态,读取报警输入1失败.\n", 5s);
}

TEST_F(AlarmOneLineTest, ALineWithoutDirectionFailsWithTheCodeOfTheCheck) {
  const struct {
    const char* fault;
    const char* said;
    int code;
    const char* description;
  } rows[] = {{"ioctl /dev/qznio 0x40044701", "set alarm_in gpio[20] direction input failure!\n", 1,
               "set alarm_in gpio fail"},
              {"ioctl /dev/qznio 0x40044702", "set alarm_in gpio[21] direction output failure!\n", 2,
               "set alarm_in gpio fail 2"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.said);
    next_board();
    board.fault(row.fault);
    t1_sdk_alarm_test_1in1out();
    EXPECT_EQ(console.out(), std::string("alarm_test_65xx\n") + row.said +
                                 "报警输入和输出1测试失败!\nfail num = " + std::to_string(row.code) + "\n");
    expect_fail(513, row.description);
    EXPECT_EQ(board.now(), 0s);
  }
}

TEST_F(AlarmOneLineTest, WithoutTheIoDriverItFailsWithCode1) {
  board.fault("open /dev/qznio");
  t1_sdk_alarm_test_1in1out();
  EXPECT_EQ(console.out(), "alarm_test_65xx\n打开/dev/qznio失败\nfail num = 1\n");
  EXPECT_EQ(console.err(), "Open /dev/qznio: No such device\n");
  expect_fail(513, "打开/dev/qznio失败");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/qznio = -1 ENODEV"});
  expect_open({});
}

TEST_F(AlarmOneLineTest, TheCheckNamesThePortThatItIsGiven) {
  const OpenNode io(board, "/dev/qznio");
  expect_open({});
  board.fault("gpio 200 stuck high");
  int code = 0;
  std::array<char, 512> text{};
  EXPECT_EQ(t1_sdk_alarm_test_63xx(io.fd(), 200, 201, 3, &code, text.data()), 0);
  EXPECT_EQ(code, 10);
  EXPECT_EQ(utf8(text.data()), "测试失败");
  EXPECT_EQ(console.lines().front(), "报警输入3,报警输出3测试失败,alarm_in.value:1.");
  EXPECT_EQ(console.lines().back(), "!!!报警输入3,报警输出3测试成功-0-次，失败-5-次!!!");
}

}  // namespace
