// Alarm tests in fixed steps: outputs behind the alarm driver.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <array>
#include <chrono>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_reports.h"
#include "tests/peripheral/alarm_step_lines.h"

namespace {

using namespace std::chrono_literals;

struct DriverStep {
  unsigned state;      ///< handed to the driver
  unsigned reference;  ///< what the inputs should then be
};

/// One test: its steps, and whether it ends each cycle by reading the driver once more.
struct DriverTest {
  const char* name;
  const char* family;
  void (*run)();
  const char* banner;
  int type;
  int code;
  std::vector<DriverStep> steps;
  bool reads_at_the_end;
};

const DriverTest kLoop = {"Loop",
                          "loop",
                          t1_sdk_alarm_test_4in5out,
                          "alarm_test_wpf_u",
                          5,
                          518,
                          {{0, 0x3}, {15, 0xC}, {0, 0x3}, {27, 0xC}},
                          false};
const DriverTest kLoopC = {"LoopC",
                           "loop-c",
                           t1_sdk_alarm_test_4in5out,
                           "alarm_test_wpf_u",
                           5,
                           518,
                           {{0, 0x3}, {15, 0xC}, {0, 0x3}, {27, 0xC}},
                           false};
const DriverTest kThreeInputs = {"ThreeInputs",
                                 "6444-j",
                                 t1_sdk_alarm_test_3in2out,
                                 "alarm_test_wpf_u_j",
                                 2,
                                 534,
                                 {{0, 0xF}, {15, 0x2}, {0, 0xF}},
                                 true};

void PrintTo(const DriverTest& test, std::ostream* out) {
  *out << test.name;
}

std::string hex_word(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "%0x", value);
  return text;
}

class AlarmDriverStepsTest : public AlarmRun {
 protected:
  /// Switches on a board that is given this test.
  void on(const DriverTest& test) {
    test_ = &test;
    next_board();
    expect_open({"/dev/alarm"});
  }
  /// Goes on with a new board of the same family.
  void next_board() { AlarmRun::next_board(test_->family); }

  static void get(HardwareScript& it) { it.open("/dev/alarm").read_outputs().close("/dev/alarm"); }

  Lines script() const {
    HardwareScript it;
    it.open("/dev/qznio");
    it.open("/dev/qznitc");
    it.open("/dev/alarm");
    it.test_control(1);
    for (int cycle = 0; cycle < 5; ++cycle) {
      for (const DriverStep& step : test_->steps) {
        get(it);
        it.open("/dev/alarm").outputs(step.state).close("/dev/alarm");
        get(it);
        it.wait(500ms).read_eight();
      }
      if (test_->reads_at_the_end) get(it);
    }
    it.wait(500ms);
    it.test_control(0);
    it.close("/dev/qznio");
    it.close("/dev/qznitc");
    it.call("close -1 = -1 EBADF");  // in the place of the alarm node
    return it.lines();
  }

  void run_variant() {
    if (test_->reads_at_the_end) {
      alarm_test_wpf_u_j(test_->type, test_->code);
    } else {
      alarm_test_wpf_u(test_->type, test_->code);
    }
  }

  std::string head() const {
    return std::string(test_->banner) + "\ntype: " + std::to_string(test_->type) + "\n";
  }
  StepReferences references() const {
    StepReferences all{};
    for (std::size_t i = 0; i < test_->steps.size(); ++i) all[i] = test_->steps[i].reference;
    return all;
  }

  /// The console of a run in which each cycle's steps read these words.
  std::string said(const std::vector<unsigned>& words) const {
    std::string text = head();
    unsigned state = 0;
    for (int cycle = 1; cycle <= 5; ++cycle) {
      text += cycle_head(cycle);
      for (int step = 1; step <= static_cast<int>(test_->steps.size()); ++step) {
        const std::string mark(3, static_cast<char>('0' + step));
        text += "alarm_all_value:" + hex_word(state) + "\n";
        state = test_->steps[step_index(step)].state;
        text += mark + "alarm_all_value:" + hex_word(state) + "\n";
        text += step_line(step, words[step_index(step)], references());
      }
      if (test_->reads_at_the_end) text += "alarm_all_value:" + hex_word(state) + "\n";
    }
    return text + "\n";
  }
  std::vector<unsigned> healthy() const {
    std::vector<unsigned> words;
    for (const DriverStep& step : test_->steps) words.push_back(step.reference);
    return words;
  }

  const DriverTest* test_ = nullptr;
};

class AlarmDriverVariantTest : public AlarmDriverStepsTest, public ::testing::WithParamInterface<DriverTest> {
 protected:
  AlarmDriverVariantTest() { on(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(On, AlarmDriverVariantTest, ::testing::Values(kLoop, kLoopC, kThreeInputs),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_P(AlarmDriverVariantTest, SetsAllOutputsAtOnceAndReadsTheDriverBeforeAndAfter) {
  const Lines expected = script();
  run_variant();
  EXPECT_EQ(board.timed_hardware_trace(), expected);
  EXPECT_EQ(board.now(), 500ms * (5 * static_cast<int>(test_->steps.size()) + 1));
}

TEST_P(AlarmDriverVariantTest, PassesOnAHealthyBoard) {
  GetParam().run();
  EXPECT_EQ(console.out(), said(healthy()));
  EXPECT_EQ(console.err(), summary(5, 0));
  expect_pass(GetParam().code);
  EXPECT_EQ(gpiofd, -1);
}

TEST_P(AlarmDriverVariantTest, ClosesADescriptorThatWasNeverOpenedInThePlaceOfTheAlarmNode) {
  run_variant();
  EXPECT_EQ(board.hardware_trace().back(), "close -1 = -1 EBADF");
  EXPECT_EQ(board.open_nodes(), Lines{"/dev/alarm"});
  for (const int standard : {0, 1, 2}) EXPECT_NE(::fcntl(standard, F_GETFD), -1) << standard;
  EXPECT_NE(::fcntl(station.board_socket(), F_GETFD), -1);
}

TEST_P(AlarmDriverVariantTest, LeavesOneMoreAlarmNodeOpenWithEachRun) {
  run_variant();
  run_variant();
  EXPECT_EQ(board.open_nodes(), (Lines{"/dev/alarm", "/dev/alarm"}));
  expect_open({"/dev/alarm", "/dev/alarm"});
}

TEST_P(AlarmDriverVariantTest, AcceptsAnyType) {
  for (const int type : {-1, 0, 4, 99}) {
    test_->reads_at_the_end ? alarm_test_wpf_u_j(type, 7) : alarm_test_wpf_u(type, 7);
    EXPECT_EQ(console.lines().at(1), "type: " + std::to_string(type));
    expect_pass(7);
    if (type != 99) next_board();
  }
}

TEST_P(AlarmDriverVariantTest, FlushesEachOfTheFirstSteps) {
  std::string expected = head() + cycle_head(1);
  unsigned state = 0;
  for (int step = 1; step <= 3; ++step) {
    expected += "alarm_all_value:" + hex_word(state) + "\n";
    state = test_->steps[step_index(step)].state;
    expected += std::string(3, static_cast<char>('0' + step)) + "alarm_all_value:" + hex_word(state) + "\n";
    expected += step_line(step, references()[step_index(step)], references());
    board.at(boardsim::Time(500ms) * step + 1ms,
             [this, expected] { EXPECT_EQ(console.flushed().substr(0, expected.size()), expected); });
  }
  run_variant();
}

TEST_P(AlarmDriverVariantTest, CountsEachStepInWhichAnInputIsNotAsItShouldBe) {
  for (const std::string what : {"wire T% cut", "input T% stuck high", "input T% stuck low"}) {
    for (unsigned bit = 0; bit < 4; ++bit) {
      std::string fault = what;
      fault.replace(fault.find('%'), 1, std::to_string(bit + 1));
      SCOPED_TRACE(fault);
      if (fault != "wire T1 cut") next_board();
      board.fault(fault);
      run_variant();
      std::vector<unsigned> words = healthy();
      int errors = 0;
      for (unsigned& word : words) {
        const unsigned good = word;
        word = what.ends_with("low") ? word & ~(1U << bit) : word | 1U << bit;  // what is cut reads high
        if (word != good) errors += 5;
      }
      EXPECT_EQ(console.out(), said(words) + (errors != 0 ? "fail num = 10\n" : ""));
      EXPECT_EQ(console.err(), summary(5, errors));
      expect_reply(test_->code, errors != 0 ? "Fail" : "Pass", errors != 0 ? "测试失败" : "测试成功");
    }
  }
}

/// A fault and what the steps then read.
struct DriverFault {
  DriverTest test;
  const char* fault;
  std::vector<unsigned> words;
  int errors;  ///< in five cycles
};

void PrintTo(const DriverFault& row, std::ostream* out) {
  *out << row.test.name << ", " << row.fault;
}

// clang-format off
const DriverFault kDriverFaults[] = {
  // T3 hangs on F4 at rest, T4 on F3 and F5 at rest.
  {kLoop, "output F1 dead",   {0x3, 0xD, 0x3, 0xD}, 10},
  {kLoop, "output F2 dead",   {0x3, 0xE, 0x3, 0xE}, 10},
  {kLoop, "output F3 dead",   {0x3, 0x4, 0x3, 0xC},  5},
  {kLoop, "output F4 dead",   {0x3, 0x8, 0x3, 0x8}, 10},
  {kLoop, "output F5 dead",   {0x3, 0xC, 0x3, 0x4},  5},
  {kLoop, "output F1 closed", {0x2, 0xC, 0x2, 0xC}, 10},
  {kLoop, "output F2 closed", {0x1, 0xC, 0x1, 0xC}, 10},
  {kLoop, "output F3 closed", {0x3, 0x4, 0x3, 0xC},  5},
  {kLoop, "output F4 closed", {0x3, 0x8, 0x3, 0x8}, 10},
  {kLoop, "output F5 closed", {0x3, 0xC, 0x3, 0x4},  5},
  {kLoop, "output F3 open",   {0xB, 0xC, 0xB, 0xC}, 10},
  {kLoop, "output F4 open",   {0x7, 0xC, 0x7, 0xC}, 10},
  {kLoop, "output F5 open",   {0xB, 0xC, 0xB, 0xC}, 10},
  {kLoop, "short T1 T3",      {0x2, 0x8, 0x2, 0x8}, 20},
  {kLoop, "short T1 T4",      {0x2, 0x4, 0x2, 0x4}, 20},
  {kLoop, "short T2 T3",      {0x1, 0x8, 0x1, 0x8}, 20},
  {kLoop, "short T2 T4",      {0x1, 0x4, 0x1, 0x4}, 20},
  {kLoop, "short T2 GND",     {0x1, 0xC, 0x1, 0xC}, 10},
  {kLoopC, "output F3 dead",  {0x3, 0x4, 0x3, 0xC},  5},
  {kLoopC, "short T1 T3",     {0x2, 0x8, 0x2, 0x8}, 20},
  // Not found: inputs that always read the same.
  {kLoop, "short T1 T2",      {0x3, 0xC, 0x3, 0xC},  0},
  {kLoop, "short T3 T4",      {0x3, 0xC, 0x3, 0xC},  0},

  // T3 and T4 hang on F2 and are one net; T2 has no wire.
  {kThreeInputs, "wire T1 cut",      {0xF, 0x3, 0xF},  5},
  {kThreeInputs, "wire T3 cut",      {0xF, 0x6, 0xF},  5},
  {kThreeInputs, "wire T4 cut",      {0xF, 0xA, 0xF},  5},
  {kThreeInputs, "output F1 dead",   {0xF, 0x3, 0xF},  5},
  {kThreeInputs, "output F2 dead",   {0xF, 0xE, 0xF},  5},
  {kThreeInputs, "output F1 closed", {0xE, 0x2, 0xE}, 10},
  {kThreeInputs, "output F2 closed", {0x3, 0x2, 0x3}, 10},
  {kThreeInputs, "short T1 T2",      {0xF, 0x0, 0xF},  5},
  {kThreeInputs, "short T2 T3",      {0xF, 0x0, 0xF},  5},
  {kThreeInputs, "short T2 T4",      {0xF, 0x0, 0xF},  5},
  {kThreeInputs, "short T1 GND",     {0xE, 0x2, 0xE}, 10},
  {kThreeInputs, "short T2 GND",     {0xD, 0x0, 0xD}, 15},
  {kThreeInputs, "short T3 GND",     {0x3, 0x2, 0x3}, 10},
  // Not found: inputs that always read the same.
  {kThreeInputs, "short T1 T3",      {0xF, 0x2, 0xF},  0},
  {kThreeInputs, "short T1 T4",      {0xF, 0x2, 0xF},  0},
  {kThreeInputs, "short T3 T4",      {0xF, 0x2, 0xF},  0},
};
// clang-format on

class AlarmDriverFaultTest : public AlarmDriverStepsTest,
                             public ::testing::WithParamInterface<DriverFault> {};

INSTANTIATE_TEST_SUITE_P(Each, AlarmDriverFaultTest, ::testing::ValuesIn(kDriverFaults),
                         [](const auto& row) { return row.param.test.name + fault_name(row.param.fault); });

TEST_P(AlarmDriverFaultTest, ShowsInTheStepsThatItSpoilsAndInTheCount) {
  on(GetParam().test);
  board.fault(GetParam().fault);
  GetParam().test.run();
  const int errors = GetParam().errors;
  EXPECT_EQ(console.out(), said(GetParam().words) + (errors != 0 ? "fail num = 10\n" : ""));
  EXPECT_EQ(console.err(), summary(5, errors));
  expect_reply(test_->code, errors != 0 ? "Fail" : "Pass", errors != 0 ? "测试失败" : "测试成功");
}

TEST_P(AlarmDriverVariantTest, OneBadStepFailsTheTest) {
  board.at(100ms, [this] { board.fault("input T1 stuck low"); });
  board.at(600ms, [this] { board.clear_faults(); });
  run_variant();
  EXPECT_EQ(console.err(), summary(5, 1));
  expect_fail(test_->code, "测试失败");
}

TEST_P(AlarmDriverVariantTest, SaysWhenTheDriverRefusesToSetOutputs) {
  board.fault("ioctl /dev/alarm 0x40044101 #1 EIO");
  run_variant();
  const Lines lines = console.lines();
  EXPECT_EQ(
      (Lines{lines.begin() + 4, lines.begin() + 7}),
      (Lines{"alarm_all_value:0", "set alarm out stat fail!(Input/output error)", "111alarm_all_value:0"}));
}

TEST_P(AlarmDriverVariantTest, ShowsAFailedReadingOfTheDriverAsAllOnesAndGoesOn) {
  board.fault("ioctl /dev/alarm 0x80044102 #1 EIO");
  run_variant();
  const Lines lines = console.lines();
  EXPECT_EQ((Lines{lines.begin() + 4, lines.begin() + 7}),
            (Lines{"get alarm out stat fail!(Input/output error)", "get all_alarm stat fail!(-1)",
                   "alarm_all_value:ffffffff"}));
  expect_pass(test_->code);
}

TEST_P(AlarmDriverVariantTest, ShowsADriverThatDoesNotOpenForAReadingAsZeroAndGoesOn) {
  board.fault("open /dev/alarm #2");  // the first one is the test's own
  run_variant();
  const Lines lines = console.lines();
  EXPECT_EQ((Lines{lines.begin() + 4, lines.begin() + 6}),
            (Lines{"boardtest:alarm_get,open /dev/alarm error.", "alarm_all_value:0"}));
  expect_pass(test_->code);
}

TEST_F(AlarmDriverStepsTest, WithOutputsThatStayOffHalfTheStepsFailAndTheTestGoesOn) {
  on(kLoop);
  board.fault("ioctl /dev/alarm 0x40044101 #2+ EIO");
  run_variant();
  EXPECT_EQ(console.err(), summary(5, 10)) << "the steps in which outputs are on";
  expect_fail(518, "测试失败");
}

TEST_F(AlarmDriverStepsTest, OnlyTheFirstFourInputsCount) {
  on(kLoop);
  board.fault("gpio 20 stuck high");
  board.fault("gpio 94 stuck low");
  run_variant();
  expect_pass(518);
}

TEST_F(AlarmDriverStepsTest, TheFourthStepOfThreeInputsOnlyReadsTheDriver) {
  on(kThreeInputs);
  run_variant();
  EXPECT_EQ(console.out().find("##4"), std::string::npos);
  EXPECT_EQ(console.out().find("444alarm_all_value"), std::string::npos);
  EXPECT_EQ(board.now(), 8s) << "and does not wait";
}

}  // namespace
