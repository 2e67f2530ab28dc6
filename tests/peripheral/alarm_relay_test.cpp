// The alarm tests behind relays: two ports of one relay each, or one port of two.
#include <algorithm>
#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/peripheral/alarm_room.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

/// One step of a repetition: the relays and a pause, the output, half a second, a reading, a rest.
struct Step {
  std::vector<unsigned> relays;  ///< levels; none: they stay as they are
  milliseconds pause;
  unsigned out;
  unsigned good;        ///< the level at which the step passes
  const char* failure;  ///< what is printed of the other one
  milliseconds rest;

  milliseconds until_reading() const { return pause + 500ms; }
  milliseconds length() const { return until_reading() + rest; }
};

struct Port {
  unsigned in, out;
  std::vector<unsigned> relays;
};

struct Variant {
  const char* name;
  const char* family;
  void (*run)(unsigned mode, int code);
  std::vector<Port> ports;
  std::vector<Step> steps;
};

// clang-format off
const Variant kOneRelay = {"OneRelay", "rkd1", alarm_test_rkd, {{18, 76, {78}}, {19, 77, {79}}}, {
  {{0},   0ms, 0, 1, "报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:0.\n",     0ms},
  {{1}, 500ms, 0, 0, "报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:1.\n",  500ms},
  {{},    0ms, 1, 1, "报警输入F-HIGH,报警输出A-HIGH测试失败,alarm_in.value:0.\n", 500ms},
}};
const Variant kTwoRelays = {"TwoRelays", "rkd2", alarm_test_rkd_1in3out, {{18, 76, {78, 79}}}, {
  {{0, 1},   0ms, 0, 0, "继电器1断开,2闭合,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n",     0ms},
  {{0, 0},   0ms, 0, 1, "继电器1断开,2断开,报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:0.\n",    0ms},
  {{1, 0}, 500ms, 0, 0, "继电器1闭合,2断开,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n",     0ms},
  {{0, 1}, 500ms, 1, 1, "继电器1断开,2闭合,报警输入F-HIGH,报警输出A-HIGH测试失败,alarm_in.value:0.\n",   0ms},
  {{1, 0}, 500ms, 0, 0, "继电器1闭合,2断开,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n",   500ms},
  {{0, 0}, 500ms, 1, 1, "继电器1断开,2断开,报警输入F-HIGH,报警输出A-HIGH测试失败,alarm_in.value:0.\n", 500ms},
}};
// clang-format on

void PrintTo(const Variant& variant, std::ostream* out) {
  *out << variant.name;
}

/// Two repetitions of one port.
void port_script(HardwareScript& it, const Port& port, const std::vector<Step>& steps) {
  it.input(port.in).output(port.out, 0);
  for (const unsigned relay : port.relays) it.output(relay, 0);
  for (int repetition = 0; repetition < 2; ++repetition) {
    for (const Step& step : steps) {
      for (std::size_t i = 0; i < step.relays.size(); ++i) it.drive(port.relays[i], step.relays[i]);
      it.wait(step.pause).drive(port.out, step.out).wait(500ms).read(port.in).wait(step.rest);
    }
  }
}

HardwareScript run_script(const Variant& variant) {
  HardwareScript it = opened("/dev/alarm");
  it.test_control(1);
  for (int cycle = 0; cycle < 2; ++cycle) {
    for (const Port& port : variant.ports) port_script(it, port, variant.steps);
    it.wait(500ms);
  }
  return finish(it).close("/dev/alarm");
}

/// Said of a port at its end, whether it failed or not.
const std::string kDone = "报警输入,报警输出测试成功.\n";

/// A console on which the two cycles say this. The variants share a banner.
std::string run_console(const std::string& first, const std::string& second) {
  return "alarm_test_rkd\n" + cycle_head(1) + first + cycle_head(2) + second + "\n";
}

class AlarmRelayTest : public AlarmRoom, public ::testing::WithParamInterface<Variant> {
 protected:
  static constexpr int kCode = 535;
  static constexpr milliseconds kEnd = 25500ms;  ///< of a run that finds nothing

  AlarmRelayTest() : AlarmRoom(GetParam().family) {}

  void next_board() { AlarmRoom::next_board(variant.family); }
  void run() { variant.run(0, kCode); }

  /// What a cycle says of ports that are good, but for one.
  std::string cycle_console(std::size_t bad, const std::string& said) const {
    std::string text;
    for (std::size_t port = 0; port < variant.ports.size(); ++port) text += port == bad ? said : kDone;
    return text;
  }
  std::string good_cycle() const { return cycle_console(variant.ports.size(), ""); }
  /// Expects what is said of a run that failed. The station is given no description.
  void expect_failed(const std::string& first, const std::string& second, int errors) {
    EXPECT_EQ(console.out(), run_console(first, second) + "fail num = 10\n");
    EXPECT_EQ(console.err(), summary(2, errors));
    expect_fail(kCode, "");
  }
  /// The time from the start of a repetition to that of a step.
  milliseconds start_of(std::size_t step) const {
    milliseconds time{};
    for (std::size_t i = 0; i < step; ++i) time += variant.steps[i].length();
    return time;
  }
  milliseconds reading_of(std::size_t step) const {
    return start_of(step) + variant.steps[step].until_reading();
  }
  /// Runs, and expects that the first port's first repetition ended at a time, with a text. An error of the
  /// first cycle counts in the second too.
  void expect_first_repetition_fails(const std::string& said, milliseconds end) {
    run();
    expect_failed(cycle_console(0, said + kDone), good_cycle(), 2);
    EXPECT_EQ(board.now(), kEnd - start_of(variant.steps.size()) + end);
  }

  const Variant& variant = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Behind, AlarmRelayTest, ::testing::Values(kOneRelay, kTwoRelays),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(AlarmRelayTest, AHealthyBoardPassesInEachModeWithEachCallInItsTime) {
  for (const unsigned mode : {0U, 1U, 2U}) {
    SCOPED_TRACE(mode);
    next_board();
    variant.run(mode, kCode);
    expect_trace(run_script(variant));
    EXPECT_EQ(board.now(), kEnd);
    EXPECT_EQ(console.out(), run_console(good_cycle(), good_cycle()));
    EXPECT_EQ(console.err(), summary(2, 0));
    expect_pass(kCode);
    EXPECT_EQ(gpiofd, -1);
  }
}

TEST_P(AlarmRelayTest, AModeAboveTwoIsNotAnsweredAtAll) {
  t1_sdk_initial_t1Msg(&msg, 4712U, "another test's reply");
  const std::string before = msg.GetDoc();
  for (const unsigned mode : {3U, 4U, 0xFFFFFFFFU}) {
    console.clear();
    variant.run(mode, kCode);
    EXPECT_EQ(console.out(), "alarm_test_rkd\n扩展板模式出错\n");
    EXPECT_EQ(console.err(), "");
    EXPECT_EQ(station.bytes(), "");
  }
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(gpiofd, -1);
  EXPECT_EQ(msg.GetDoc(), before) << "another test's reply stays as it is";
}

TEST_P(AlarmRelayTest, AStepThatReadsTheWrongLevelEndsItsRepetitionWithItsText) {
  for (std::size_t step = 0; step < variant.steps.size(); ++step) {
    SCOPED_TRACE(step);
    next_board();
    const bool is_high = variant.steps[step].good == 1;
    board.at(reading_of(step) - 1ms,
             [&] { board.fault(is_high ? "gpio 18 stuck low" : "gpio 18 stuck high"); });
    board.at(reading_of(step) + 1ms, [&] { board.clear_faults(); });
    expect_first_repetition_fails(variant.steps[step].failure, reading_of(step));
  }
}

TEST_P(AlarmRelayTest, AReadingThatFailsEndsItsRepetition) {
  for (std::size_t step = 0; step < variant.steps.size(); ++step) {
    SCOPED_TRACE(step);
    next_board();
    board.fault("ioctl /dev/qznio 0x80044703 #" + std::to_string(step + 1));
    expect_first_repetition_fails("gpio_get_value failed.\n", reading_of(step));
  }
}

TEST_P(AlarmRelayTest, AWriteThatFailsEndsItsRepetitionAndTheRelaysIsSaidWithoutAStop) {
  int number = 0;
  const auto expect_write_fails = [&](const std::string& said, milliseconds end) {
    SCOPED_TRACE(++number);
    next_board();
    board.fault("ioctl /dev/qznio 0x40044704 #" + std::to_string(number));
    expect_first_repetition_fails(said, end);
  };
  for (std::size_t i = 0; i < variant.steps.size(); ++i) {
    const Step& step = variant.steps[i];
    for (std::size_t k = 0; k < step.relays.size(); ++k) {
      expect_write_fails("gpio_set_value failed\n", start_of(i));
    }
    expect_write_fails("gpio_set_value failed.\n", start_of(i) + step.pause);
  }
}

TEST_P(AlarmRelayTest, AFailureInTheFirstCycleMakesTheSecondCountAsFailedTooAndOneInTheSecondCountsOnce) {
  for (const int cycle : {1, 2}) {
    SCOPED_TRACE(cycle);
    next_board();
    board.fault("ioctl /dev/qznio 0x80044703 #" + std::to_string(cycle == 1 ? 1 : 13));  // twelve a cycle
    run();
    EXPECT_EQ(console.err(), summary(2, cycle == 1 ? 2 : 1));
    expect_fail(kCode, "");
  }
}

// ---- lines without a direction ---------------------------------------------------------------------------

TEST_P(AlarmRelayTest, ALineWithoutDirectionIsNamedAndEndsItsCheck) {
  const Port& port = variant.ports[0];
  std::vector<unsigned> outputs = {port.out};
  outputs.insert(outputs.end(), port.relays.begin(), port.relays.end());
  for (std::size_t i = 0; i <= outputs.size(); ++i) {
    SCOPED_TRACE(i);
    next_board();
    const bool is_input = i == outputs.size();
    board.fault(is_input ? "ioctl /dev/qznio 0x40044701 #1"
                         : "ioctl /dev/qznio 0x40044702 #" + std::to_string(i + 1));
    run();
    const std::string line =
        is_input ? "18] direction input" : std::to_string(outputs[i]) + "] direction output";
    expect_failed(cycle_console(0, "set alarm_in gpio[" + line + " failure!\n"), good_cycle(), 2);
    EXPECT_EQ(board.now(), kEnd - 2 * start_of(variant.steps.size()));
  }
}

TEST_P(AlarmRelayTest, LinesWithoutDirectionInBothCyclesStayCounted) {
  board.fault("ioctl /dev/qznio 0x40044702");
  run();
  std::string cycle;
  for (const Port& port : variant.ports) {
    cycle += "set alarm_in gpio[" + std::to_string(port.out) + "] direction output failure!\n";
  }
  expect_failed(cycle, cycle, 2);
  EXPECT_EQ(board.now(), 1500ms);
}

class AlarmRelaySumTest : public AlarmRoom {
 protected:
  AlarmRelaySumTest() : AlarmRoom("rkd1") {}
};

TEST_F(AlarmRelaySumTest, ACheckCountsItsFailedRepetitionsAndALineWithoutDirectionAsMinusOne) {
  const OpenNode io(board, "/dev/qznio");
  board.fault("gpio 200 stuck low");
  EXPECT_EQ(t1_sdk_alarm_test_rkd_new(io.fd(), nullptr, 200, 201, 202), 2);
  EXPECT_EQ(t1_sdk_alarm_test_rkd_1in3out(io.fd(), nullptr, 200, 201, 202, 203), 2);
  board.fault("ioctl /dev/qznio 0x40044701");
  EXPECT_EQ(t1_sdk_alarm_test_rkd_new(io.fd(), nullptr, 200, 201, 202), -1);
  EXPECT_EQ(t1_sdk_alarm_test_rkd_1in3out(io.fd(), nullptr, 200, 201, 202, 203), -1);
}

TEST_F(AlarmRelaySumTest, ALineWithoutDirectionCancelsOneErrorOfTheOtherPort) {
  board.fault("ioctl /dev/qznio 0x40044701 #1");
  board.fault("ioctl /dev/qznio 0x80044703 #1");  // the other port's first reading
  alarm_test_rkd(0, 535);
  EXPECT_EQ(console.out(), run_console("set alarm_in gpio[18] direction input failure!\n"
                                       "gpio_get_value failed.\n" +
                                           kDone,
                                       kDone + kDone));
  EXPECT_EQ(console.err(), summary(2, 0));
  expect_pass(535);
}

}  // namespace
