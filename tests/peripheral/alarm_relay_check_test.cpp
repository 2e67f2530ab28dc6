// The checks of one alarm input and output behind one relay or two.
#include <gtest/gtest.h>
#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/peripheral/alarm_relay_script.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

constexpr const char* kDone = "报警输入,报警输出测试成功.\n";
constexpr const char* kRelayFailed = "gpio_set_value failed\n";
constexpr const char* kOutputFailed = "gpio_set_value failed.\n";
constexpr const char* kReadFailed = "gpio_get_value failed.\n";

// Lines that no board uses for alarms: nothing but the test itself moves them.
constexpr unsigned kIn = 200, kOut = 201, kRelay1 = 202, kRelay2 = 203;

class RelayCheckTest : public OnBoard {
 protected:
  RelayCheckTest() { expect_open({"/dev/qznio"}); }  // the check's caller holds it

  /// From a time on, the input is at a level.
  void input_is(boardsim::Time when, int level) {
    board.at(when, [this, level] { board.fault(level != 0 ? "gpio 200 stuck high" : "gpio 200 stuck low"); });
  }
  void write_fails(int number) { board.fault("ioctl /dev/qznio 0x40044704 #" + std::to_string(number)); }
  void read_fails(int number) { board.fault("ioctl /dev/qznio 0x80044703 #" + std::to_string(number)); }

  Console console;
  OpenNode io{board, "/dev/qznio"};
  std::array<char, 512> text{};
};

// ---- one relay ----------------------------------------------------------------------------

class OneRelayTest : public RelayCheckTest {
 protected:
  /// The levels at which the first steps of a repetition pass that begins at a time.
  void levels_from(boardsim::Time start, int steps = 3) {
    for (int step = 0; step < steps; ++step) input_is(start + 499ms + 1s * step, step == 1 ? 0 : 1);
  }
  int check() { return t1_sdk_alarm_test_rkd_new(io.fd(), text.data(), kIn, kOut, kRelay1); }
};

constexpr const char* kLowLow0 = "报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:0.\n";
constexpr const char* kLowHigh1 = "报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:1.\n";
constexpr const char* kHighHigh0 = "报警输入F-HIGH,报警输出A-HIGH测试失败,alarm_in.value:0.\n";

TEST_F(OneRelayTest, AHealthyPortPassesTwoRepetitionsOfThreeSteps) {
  levels_from(0s);
  levels_from(3s);
  EXPECT_EQ(check(), 0);
  HardwareScript expected;
  expected.input(kIn);
  expected.output(kOut, 0);
  expected.output(kRelay1, 0);
  one_relay_script(expected, kIn, kOut, kRelay1);
  one_relay_script(expected, kIn, kOut, kRelay1);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 6s);
  EXPECT_EQ(console.out(), kDone);
}

TEST_F(OneRelayTest, AnInputThatIsAlwaysLowFailsTheFirstStepOfBothRepetitions) {
  input_is(0s, 0);
  EXPECT_EQ(check(), 2);
  EXPECT_EQ(console.out(), std::string(kLowLow0) + kLowLow0 + kDone);
  EXPECT_EQ(board.now(), 1s) << "a failed step ends its repetition at once";
}

TEST_F(OneRelayTest, AnInputThatIsAlwaysHighFailsTheSecondStepOfBothRepetitions) {
  input_is(0s, 1);
  EXPECT_EQ(check(), 2);
  EXPECT_EQ(console.out(), std::string(kLowHigh1) + kLowHigh1 + kDone);
  EXPECT_EQ(board.now(), 3s);
}

TEST_F(OneRelayTest, AnInputThatDoesNotComeBackFailsTheThirdStep) {
  levels_from(0s, 2);
  input_is(2s, 0);
  levels_from(2500ms, 2);
  EXPECT_EQ(check(), 2);
  EXPECT_EQ(console.out(), std::string(kHighHigh0) + kHighHigh0 + kDone);
  EXPECT_EQ(board.now(), 5s);
}

TEST_F(OneRelayTest, OneBadRepetitionCountsOnce) {
  input_is(0s, 0);
  levels_from(500ms);
  EXPECT_EQ(check(), 1);
  EXPECT_EQ(console.out(), std::string(kLowLow0) + kDone);
}

TEST_F(OneRelayTest, EachWriteThatFailsEndsItsRepetitionAndTheRelaysIsSaidWithoutAStop) {
  const char* const said[] = {kRelayFailed, kOutputFailed, kRelayFailed, kOutputFailed, kOutputFailed};
  const boardsim::Time ends[] = {0ms, 0ms, 500ms, 1000ms, 2000ms};
  const int steps_before[] = {0, 0, 1, 1, 2};
  for (int number = 1; number <= 5; ++number) {
    SCOPED_TRACE(number);
    console.clear();
    board.clear_faults();
    const boardsim::Time start = board.now();
    levels_from(start, steps_before[number - 1]);
    levels_from(start + ends[number - 1]);
    write_fails(number);
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(console.out(), std::string(said[number - 1]) + kDone);
    EXPECT_EQ(board.now() - start, ends[number - 1] + 3s);
  }
}

TEST_F(OneRelayTest, EachReadingThatFailsEndsItsRepetition) {
  const boardsim::Time ends[] = {500ms, 1500ms, 2500ms};
  for (int number = 1; number <= 3; ++number) {
    SCOPED_TRACE(number);
    console.clear();
    board.clear_faults();
    const boardsim::Time start = board.now();
    levels_from(start, number - 1);
    levels_from(start + ends[number - 1]);
    read_fails(number);
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(console.out(), std::string(kReadFailed) + kDone);
    EXPECT_EQ(board.now() - start, ends[number - 1] + 3s);
  }
}

TEST_F(OneRelayTest, ALineWithoutDirectionEndsTheCheckAndIsNamed) {
  const struct {
    const char* fault;
    const char* said;
  } rows[] = {
      {"ioctl /dev/qznio 0x40044701 #1", "set alarm_in gpio[200] direction input failure!\n"},
      {"ioctl /dev/qznio 0x40044702 #1", "set alarm_in gpio[201] direction output failure!\n"},
      {"ioctl /dev/qznio 0x40044702 #2", "set alarm_in gpio[202] direction output failure!\n"},
  };
  for (const auto& row : rows) {
    board.clear_faults();
    console.clear();
    board.fault(row.fault);
    EXPECT_EQ(check(), -1) << row.fault;
    EXPECT_EQ(console.out(), row.said);
  }
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(OneRelayTest, TheTextBufferIsNeverWrittenAndMayBeMissing) {
  text.fill('~');
  input_is(0s, 0);
  EXPECT_EQ(check(), 2);
  EXPECT_EQ(std::string(text.data(), text.size()), std::string(text.size(), '~'));
  EXPECT_EQ(t1_sdk_alarm_test_rkd_new(io.fd(), nullptr, kIn, kOut, kRelay1), 2);
}

// ---- two relays ---------------------------------------------------------------------------

struct TwoRelayStep {
  int relay1, relay2;
  std::chrono::milliseconds pause;
  int out;
  int good;  ///< the level at which the step passes
  const char* failure;
  std::chrono::milliseconds rest;
};

// clang-format off
const TwoRelayStep kSteps[] = {
  {0, 1,   0ms, 0, 0, "继电器1断开,2闭合,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n",     0ms},
  {0, 0,   0ms, 0, 1, "继电器1断开,2断开,报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:0.\n",    0ms},
  {1, 0, 500ms, 0, 0, "继电器1闭合,2断开,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n",     0ms},
  {0, 1, 500ms, 1, 1, "继电器1断开,2闭合,报警输入F-HIGH,报警输出A-HIGH测试失败,alarm_in.value:0.\n",   0ms},
  {1, 0, 500ms, 0, 0, "继电器1闭合,2断开,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n",   500ms},
  {0, 0, 500ms, 1, 1, "继电器1断开,2断开,报警输入F-HIGH,报警输出A-HIGH测试失败,alarm_in.value:0.\n", 500ms},
};
// clang-format on
constexpr std::size_t kStepCount = std::size(kSteps);
constexpr auto kRepetition = 6s;

class TwoRelaysTest : public RelayCheckTest {
 protected:
  /// When step `step` reads the input, from the start of its repetition on.
  static boardsim::Time reading(std::size_t step) {
    boardsim::Time time{};
    for (std::size_t i = 0; i < step; ++i) time += kSteps[i].pause + 500ms + kSteps[i].rest;
    return time + kSteps[step].pause + 500ms;
  }
  /// The levels at which the first steps of a repetition pass that begins at a time.
  void levels_from(boardsim::Time start, std::size_t steps = kStepCount) {
    for (std::size_t step = 0; step < steps; ++step) input_is(start + reading(step) - 1ms, kSteps[step].good);
  }
  /// The same up to a step, which reads the wrong level.
  void levels_with_bad_step(boardsim::Time start, std::size_t step) {
    levels_from(start, step);
    input_is(start + reading(step) - 1ms, 1 - kSteps[step].good);
  }
  int check() { return t1_sdk_alarm_test_rkd_1in3out(io.fd(), text.data(), kIn, kOut, kRelay1, kRelay2); }
};

TEST_F(TwoRelaysTest, AHealthyPortPassesTwoRepetitionsOfSixSteps) {
  levels_from(0s);
  levels_from(kRepetition);
  EXPECT_EQ(check(), 0);
  HardwareScript expected;
  expected.input(kIn);
  for (const unsigned line : {kOut, kRelay1, kRelay2}) expected.output(line, 0);
  for (int repetition = 0; repetition < 2; ++repetition) {
    for (const TwoRelayStep& step : kSteps) {
      expected.drive(kRelay1, static_cast<unsigned>(step.relay1));
      expected.drive(kRelay2, static_cast<unsigned>(step.relay2));
      expected.wait(step.pause);
      expected.drive(kOut, static_cast<unsigned>(step.out));
      expected.wait(500ms);
      expected.read(kIn);
      expected.wait(step.rest);
    }
  }
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board.now(), 2 * kRepetition);
  EXPECT_EQ(console.out(), kDone);
}

TEST_F(TwoRelaysTest, EachStepThatReadsTheWrongLevelEndsItsRepetitionWithItsText) {
  for (std::size_t step = 0; step < kStepCount; ++step) {
    SCOPED_TRACE(step + 1);
    console.clear();
    const boardsim::Time start = board.now();
    levels_with_bad_step(start, step);
    levels_with_bad_step(start + reading(step), step);
    EXPECT_EQ(check(), 2);
    EXPECT_EQ(console.out(), std::string(kSteps[step].failure) + kSteps[step].failure + kDone);
    EXPECT_EQ(board.now() - start, 2 * reading(step));
  }
}

TEST_F(TwoRelaysTest, OneBadRepetitionCountsOnce) {
  levels_with_bad_step(0s, 3);
  levels_from(reading(3));
  EXPECT_EQ(check(), 1);
  EXPECT_EQ(console.out(), std::string(kSteps[3].failure) + kDone);
  EXPECT_EQ(board.now(), reading(3) + kRepetition);
}

TEST_F(TwoRelaysTest, EachWriteThatFailsEndsItsRepetitionAndTheRelaysAreSaidWithoutAStop) {
  for (std::size_t number = 1; number <= 3 * kStepCount; ++number) {
    SCOPED_TRACE(number);
    console.clear();
    board.clear_faults();
    const std::size_t step = (number - 1) / 3;
    const bool output = number % 3 == 0;
    const boardsim::Time start = board.now();
    const boardsim::Time end = reading(step) - 500ms - (output ? 0ms : kSteps[step].pause);
    levels_from(start, step);
    levels_from(start + end);
    write_fails(static_cast<int>(number));
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(console.out(), std::string(output ? kOutputFailed : kRelayFailed) + kDone);
    EXPECT_EQ(board.now() - start, end + kRepetition);
  }
}

TEST_F(TwoRelaysTest, EachReadingThatFailsEndsItsRepetition) {
  for (std::size_t step = 0; step < kStepCount; ++step) {
    SCOPED_TRACE(step + 1);
    console.clear();
    board.clear_faults();
    const boardsim::Time start = board.now();
    levels_from(start, step);
    levels_from(start + reading(step));
    read_fails(static_cast<int>(step) + 1);
    EXPECT_EQ(check(), 1);
    EXPECT_EQ(console.out(), std::string(kReadFailed) + kDone);
    EXPECT_EQ(board.now() - start, reading(step) + kRepetition);
  }
}

TEST_F(TwoRelaysTest, ALineWithoutDirectionEndsTheCheckAndIsNamed) {
  const struct {
    const char* fault;
    const char* said;
  } rows[] = {
      {"ioctl /dev/qznio 0x40044701 #1", "set alarm_in gpio[200] direction input failure!\n"},
      {"ioctl /dev/qznio 0x40044702 #1", "set alarm_in gpio[201] direction output failure!\n"},
      {"ioctl /dev/qznio 0x40044702 #2", "set alarm_in gpio[202] direction output failure!\n"},
      {"ioctl /dev/qznio 0x40044702 #3", "set alarm_in gpio[203] direction output failure!\n"},
  };
  for (const auto& row : rows) {
    board.clear_faults();
    console.clear();
    board.fault(row.fault);
    EXPECT_EQ(check(), -1) << row.fault;
    EXPECT_EQ(console.out(), row.said);
  }
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(TwoRelaysTest, TheTextBufferIsNeverWrittenAndMayBeMissing) {
  text.fill('~');
  input_is(0s, 1);
  EXPECT_EQ(check(), 2);
  EXPECT_EQ(std::string(text.data(), text.size()), std::string(text.size(), '~'));
  EXPECT_EQ(t1_sdk_alarm_test_rkd_1in3out(io.fd(), nullptr, kIn, kOut, kRelay1, kRelay2), 2);
}

}  // namespace
