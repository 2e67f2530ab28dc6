// The alarm test of one input and one output on plain GPIO lines.
#include <gtest/gtest.h>
#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/harness/gbk.h"
#include "tests/peripheral/alarm_reports.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kGood = "报警输入3,报警输出3测试成功.\n";
constexpr const char* kEnd = "\n================报警输入3,报警输出3测试结束================\n";
constexpr const char* kAllGood = "!!!报警输入3,报警输出3测试全部成功!!!\n";

std::string counts(int errors) {
  return "!!!报警输入3,报警输出3测试成功-" + std::to_string(5 - errors) + "-次，失败-" +
         std::to_string(errors) + "-次!!!\n";
}

std::string times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

/// Lines 200 (input) and 201 (output) of port 3: nothing but the test moves them.
class OneLineCheckTest : public OnBoard {
 protected:
  OneLineCheckTest() {
    text.fill('~');
    expect_open({"/dev/qznio"});  // the check's caller holds it
  }

  /// From a time on, the input is at a level.
  void input_is(boardsim::Time when, int level) {
    board.at(when, [this, level] { board.fault(level != 0 ? "gpio 200 stuck high" : "gpio 200 stuck low"); });
  }
  /// The input follows as it should in so many repetitions from a time on: low when alarmed, then high.
  void healthy_from(boardsim::Time start, int repetitions = 5) {
    for (int i = 0; i < repetitions; ++i) {
      input_is(start + 1s * i + 499ms, 0);
      input_is(start + 1s * i + 999ms, 1);
    }
  }
  int check() { return t1_sdk_alarm_test_63xx(io.fd(), 200, 201, 3, &code, text.data()); }

  /// Expects a check that found errors, or none.
  void expect_found(const std::string& said, int errors) {
    EXPECT_EQ(check(), 0);
    EXPECT_EQ(console.out(), said + kEnd + (errors == 0 ? std::string(kAllGood) : counts(errors)));
    EXPECT_EQ(code, errors == 0 ? 0 : 10);
    if (errors == 0) {
      EXPECT_EQ(std::string(text.data(), text.size()), std::string(text.size(), '~'));
    } else {
      EXPECT_EQ(utf8(text.data()), "测试失败");
    }
  }

  Console console;
  OpenNode io{board, "/dev/qznio"};
  int code = 0;
  std::array<char, 512> text{};
};

TEST_F(OneLineCheckTest, AHealthyPortPassesFiveRepetitions) {
  healthy_from(0s);
  expect_found(times(5, kGood), 0);
  HardwareScript expected;
  expected.input(200);
  expected.output(201, 0);
  for (int repetition = 0; repetition < 5; ++repetition) {
    for (const unsigned level : {1U, 0U}) {
      expected.drive(201, level);
      expected.wait(500ms);
      expected.read(200);
    }
  }
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 5s);
}

TEST_F(OneLineCheckTest, AnInputThatIsAlwaysHighFailsWhileTheOutputIsOn) {
  input_is(0s, 1);
  expect_found(times(5, "报警输入3,报警输出3测试失败,alarm_in.value:1.\n"), 5);
  EXPECT_EQ(board.now(), 2500ms) << "each repetition ends at its failure";
}

TEST_F(OneLineCheckTest, AnInputThatIsAlwaysLowFailsWhileTheOutputIsOffWithABlankBeforeTheColon) {
  input_is(0s, 0);
  expect_found(times(5, "报警输入3,报警输出3测试失败,alarm_in.value :0.\n"), 5);
  EXPECT_EQ(board.now(), 5s);
}

TEST_F(OneLineCheckTest, OneBadRepetitionOfFiveFailsTheCheck) {
  healthy_from(0s, 2);
  input_is(2s, 1);
  healthy_from(2500ms, 2);
  expect_found(times(2, kGood) + "报警输入3,报警输出3测试失败,alarm_in.value:1.\n" + times(2, kGood), 1);
}

TEST_F(OneLineCheckTest, AnOutputThatCannotBeSwitchedOnIsSaid) {
  board.fault("ioctl /dev/qznio 0x40044704 #1");
  healthy_from(0s);
  expect_found("设置报警输出3为触发状态失败.\n" + times(4, kGood), 1);
  EXPECT_EQ(board.now(), 4s);
}

TEST_F(OneLineCheckTest, AnOutputThatCannotBeSwitchedOffIsSaid) {
  board.fault("ioctl /dev/qznio 0x40044704 #2");
  input_is(0s, 0);
  healthy_from(500ms);
  expect_found("设置报警输出3为非触发状态失败.\n" + times(4, kGood), 1);
  EXPECT_EQ(board.now(), 4500ms);
}

TEST_F(OneLineCheckTest, AnInputThatCannotBeReadWhileTheOutputIsOnIsSaid) {
  board.fault("ioctl /dev/qznio 0x80044703 #1");
  healthy_from(500ms);
  expect_found("报警输出3为触发状态,读取报警输入3失败.\n" + times(4, kGood), 1);
  EXPECT_EQ(board.now(), 4500ms);
}

TEST_F(OneLineCheckTest, AnInputThatCannotBeReadWhileTheOutputIsOffIsSaid) {
  board.fault("ioctl /dev/qznio 0x80044703 #2");
  input_is(0s, 0);
  healthy_from(1s);
  expect_found("报警输出3为非触发状态,读取报警输入3失败.\n" + times(4, kGood), 1);
  EXPECT_EQ(board.now(), 5s);
}

TEST_F(OneLineCheckTest, AnInputLineWithoutDirectionEndsTheCheck) {
  board.fault("ioctl /dev/qznio 0x40044701");
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(console.out(), "set alarm_in gpio[200] direction input failure!\n");
  EXPECT_EQ(code, 1);
  EXPECT_STREQ(text.data(), "set alarm_in gpio fail");
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(OneLineCheckTest, AnOutputLineWithoutDirectionEndsTheCheck) {
  board.fault("ioctl /dev/qznio 0x40044702");
  EXPECT_EQ(check(), -1);
  EXPECT_EQ(console.out(), "set alarm_in gpio[201] direction output failure!\n");
  EXPECT_EQ(code, 2);
  EXPECT_STREQ(text.data(), "set alarm_in gpio fail 2");
}

// ---- the whole test -----------------------------------------------------------------------

class AlarmOneLineTest : public AlarmRun {
 protected:
  AlarmOneLineTest() { expect_open({"/dev/qznio"}); }

  static std::string said(const std::string& repetitions, const std::string& result) {
    return "alarm_test_65xx\n" + repetitions +
           "\n================报警输入1,报警输出1测试结束================\n" + result;
  }
};

TEST_F(AlarmOneLineTest, AHealthyBoardPasses) {
  t1_sdk_alarm_test_1in1out();
  EXPECT_EQ(console.out(),
            said(times(5, "报警输入1,报警输出1测试成功.\n"), "!!!报警输入1,报警输出1测试全部成功!!!\n"));
  EXPECT_EQ(console.err(), "");
  expect_pass(513);
}

TEST_F(AlarmOneLineTest, TheInputIsLine20AndTheOutputLine21AndTheNodeStaysOpen) {
  alarm_test_1i1o(513);
  HardwareScript expected;
  expected.open("/dev/qznio");
  expected.input(20);
  expected.output(21, 0);
  for (int repetition = 0; repetition < 5; ++repetition) {
    for (const unsigned level : {1U, 0U}) {
      expected.drive(21, level);
      expected.wait(500ms);
      expected.read(20);
    }
  }
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 5s);
}

TEST_F(AlarmOneLineTest, TheTestsCommonDescriptorIsNotUsed) {
  board.at(2s, [] { EXPECT_EQ(gpiofd, -1); });
  alarm_test_1i1o(513);
  EXPECT_EQ(gpiofd, -1);
}

TEST_F(AlarmOneLineTest, OneMoreNodeStaysOpenWithEachRun) {
  alarm_test_1i1o(513);
  alarm_test_1i1o(513);
  expect_open({"/dev/qznio", "/dev/qznio"});
}

TEST_F(AlarmOneLineTest, AnInputThatIsAlwaysHighFailsWithCode10) {
  board.fault("gpio 20 stuck high");
  alarm_test_1i1o(513);
  EXPECT_EQ(console.out(), said(times(5, "报警输入1,报警输出1测试失败,alarm_in.value:1.\n"),
                                "!!!报警输入1,报警输出1测试成功-0-次，失败-5-次!!!\nfail num = 10\n"));
  expect_fail(513, "测试失败");
}

TEST_F(AlarmOneLineTest, AnInputThatIsAlwaysLowFailsWithCode10) {
  board.fault("gpio 20 stuck low");
  alarm_test_1i1o(513);
  EXPECT_EQ(console.out(), said(times(5, "报警输入1,报警输出1测试失败,alarm_in.value :0.\n"),
                                "!!!报警输入1,报警输出1测试成功-0-次，失败-5-次!!!\nfail num = 10\n"));
  expect_fail(513, "测试失败");
}

TEST_F(AlarmOneLineTest, TheCodeOfAnInputWithoutDirectionIsTheChecksOne) {
  board.fault("ioctl /dev/qznio 0x40044701");
  alarm_test_1i1o(513);
  EXPECT_EQ(console.out(),
            "alarm_test_65xx\nset alarm_in gpio[20] direction input failure!\n"
            "报警输入和输出1测试失败!\nfail num = 1\n");
  expect_fail(513, "set alarm_in gpio fail");
}

TEST_F(AlarmOneLineTest, TheCodeOfAnOutputWithoutDirectionIsTheChecksTwo) {
  board.fault("ioctl /dev/qznio 0x40044702");
  alarm_test_1i1o(513);
  EXPECT_EQ(console.out(),
            "alarm_test_65xx\nset alarm_in gpio[21] direction output failure!\n"
            "报警输入和输出1测试失败!\nfail num = 2\n");
  expect_fail(513, "set alarm_in gpio fail 2");
}

}  // namespace
