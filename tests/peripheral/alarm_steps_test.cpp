// Alarm tests in fixed steps: four inputs behind the FPGA and its relays.
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

struct Step {
  unsigned outputs;               ///< register 0x2002
  std::array<unsigned, 5> five;   ///< relays 81 to 85 of boards with seven outputs
  std::array<unsigned, 3> three;  ///< relays 81 to 83 of the others
};

constexpr std::array<Step, 4> kSteps = {{
    {0x80000018, {1, 1, 1, 1, 0}, {1, 1, 0}},
    {0xC0000018, {0, 0, 0, 0, 0}, {0, 0, 0}},
    {0x80000018, {0, 0, 0, 1, 1}, {1, 0, 1}},
    {0xC0000018, {0, 0, 0, 0, 0}, {0, 0, 0}},
}};
constexpr StepReferences kReferences = {0x0, 0xF, 0x0, 0xF};

class AlarmRelayStepsTest : public AlarmRun {
 protected:
  AlarmRelayStepsTest() : AlarmRun("6444") {}

  void run_seven() { alarm_test_64xx_u(4, 519); }
  void run_five() { alarm_test_64xx_u(5, 518); }

  static Lines script(int type) {
    HardwareScript it;
    it.open("/dev/qznio");
    it.open("/dev/qznitc");
    it.open("/dev/fpga");
    it.fpga(0x60, 0);
    it.fpga(0x2006, 1);
    it.fpga(0x2009, 1);
    it.fpga(0x2014, 1);
    it.fpga(0x2008, 0);
    it.test_control(1);
    for (int cycle = 0; cycle < 5; ++cycle) {
      for (const Step& step : kSteps) {
        it.fpga(0x2002, step.outputs);
        unsigned relay = 81;
        if (type == 4) {
          for (const unsigned level : step.five) it.fpga(relay++, level);
        } else {
          for (const unsigned level : step.three) it.fpga(relay++, level);
        }
        it.wait(500ms);
        it.read_eight();
      }
    }
    it.fpga(0x2002, 0x80000018);
    for (unsigned relay = 81; relay <= 85; ++relay) it.fpga(relay, 0);
    it.wait(500ms);
    it.test_control(0);
    it.close("/dev/qznio");
    it.close("/dev/qznitc");
    it.close("/dev/fpga");
    return it.lines();
  }

  /// The console of a run in which the inputs read the same words in each cycle.
  std::string said(int type, const std::array<unsigned, 4>& words) {
    return "alarm_test_65xx\ntype: " + std::to_string(type) + "\n" + said_by_cycles(words, kReferences) +
           "\n";
  }
};

TEST_F(AlarmRelayStepsTest, ABoardWithSevenOutputsDrivesFiveRelaysInFourSteps) {
  const Lines expected = script(4);
  run_seven();
  EXPECT_EQ(board.timed_hardware_trace(), expected);
  EXPECT_EQ(board.now(), 10500ms);
}

TEST_F(AlarmRelayStepsTest, OtherBoardsDriveThreeRelaysButReleaseFive) {
  with_family("normal");
  const Lines expected = script(5);
  run_five();
  EXPECT_EQ(board.timed_hardware_trace(), expected);
}

TEST_F(AlarmRelayStepsTest, EveryTypeButFourDrivesThreeRelays) {
  for (const int type : {0, 3, -1, 2147483647}) {
    with_family("normal");
    station.forget();
    const Lines expected = script(type);
    alarm_test_64xx_u(type, 518);
    EXPECT_EQ(board.timed_hardware_trace(), expected) << type;
    expect_pass(518);
  }
}

TEST_F(AlarmRelayStepsTest, AHealthyBoardWithSevenOutputsPasses) {
  run_seven();
  EXPECT_EQ(console.out(), said(4, {0x0, 0xF, 0x0, 0xF}));
  EXPECT_EQ(console.err(), summary(5, 0));
  expect_pass(519);
  EXPECT_EQ(gpiofd, -1);
}

TEST_F(AlarmRelayStepsTest, AHealthyBoardWithFiveOutputsPasses) {
  with_family("normal");
  run_five();
  EXPECT_EQ(console.out(), said(5, {0x0, 0xF, 0x0, 0xF}));
  EXPECT_EQ(console.err(), summary(5, 0));
  expect_pass(518);
}

TEST_F(AlarmRelayStepsTest, TheEntriesRunTheSameTest) {
  t1_sdk_alarm_test_4in7out();
  EXPECT_EQ(console.out(), said(4, {0x0, 0xF, 0x0, 0xF}));
  expect_pass(519);
  with_family("normal");
  station.forget();
  console.clear();
  t1_sdk_alarm_test_4in5out();
  EXPECT_EQ(console.out(), said(5, {0x0, 0xF, 0x0, 0xF}));
  expect_pass(518);
}

TEST_F(AlarmRelayStepsTest, TheLinesOfTheEightInputsAreReadInTheirOrder) {
  run_seven();
  std::vector<unsigned> lines;
  for (const boardsim::Call& call : board.trace()) {
    if (call.request == 0x80044703) lines.push_back(call.record.at(0));
  }
  std::vector<unsigned> expected;
  for (int step = 0; step < 20; ++step) expected.insert(expected.end(), {74, 76, 77, 78, 20, 17, 15, 94});
  EXPECT_EQ(lines, expected);
}

TEST_F(AlarmRelayStepsTest, EachStepIsSaidWhenItIsDoneAndFlushedUpToTheThird) {
  for (int step = 1; step <= 3; ++step) {
    board.at(boardsim::Time(500ms) * step + 1ms, [this, step] {
      std::string expected = "alarm_test_65xx\ntype: 4\n" + cycle_head(1);
      for (int done = 1; done <= step; ++done)
        expected += step_line(done, kReferences[step_index(done)], kReferences);
      EXPECT_EQ(console.flushed(), expected) << step;
    });
  }
  run_seven();
}

TEST_F(AlarmRelayStepsTest, TheIoDriverStaysOpenWhileTheTestRuns) {
  board.at(5s, [this] {
    EXPECT_GT(gpiofd, 0);
    EXPECT_EQ(board.open_nodes(), (Lines{"/dev/qznio", "/dev/qznitc", "/dev/fpga"}));
  });
  run_seven();
  EXPECT_EQ(gpiofd, -1);
}

TEST_F(AlarmRelayStepsTest, AllRelaysAreReleasedInTheEndAndTheOutputsKeepTheirEndValue) {
  run_seven();
  EXPECT_EQ(board->fpga.reg(0x2002), 0x80000018U);
  for (unsigned relay = 81; relay <= 85; ++relay) EXPECT_EQ(board->fpga.reg(relay), 0U) << relay;
}

// ---- faults -----------------------------------------------------------------------------

struct StepFault {
  const char* fault;
  std::array<unsigned, 4> words;  ///< what the steps read
  int errors;                     ///< in five cycles
};

// clang-format off
const StepFault kFaults[] = {
  {"input T1 stuck high",             {0x1, 0xF, 0x1, 0xF}, 10},
  {"input T2 stuck high",             {0x2, 0xF, 0x2, 0xF}, 10},
  {"input T3 stuck high",             {0x4, 0xF, 0x4, 0xF}, 10},
  {"input T4 stuck high",             {0x8, 0xF, 0x8, 0xF}, 10},
  {"input T1 stuck low",              {0x0, 0xE, 0x0, 0xE}, 10},
  {"input T2 stuck low",              {0x0, 0xD, 0x0, 0xD}, 10},
  {"input T3 stuck low",              {0x0, 0xB, 0x0, 0xB}, 10},
  {"input T4 stuck low",              {0x0, 0x7, 0x0, 0x7}, 10},
  {"wire T1 cut",                     {0x1, 0xF, 0x1, 0xF}, 10},
  {"wire T2 cut",                     {0x2, 0xF, 0x2, 0xF}, 10},
  {"wire T3 cut",                     {0x4, 0xF, 0x4, 0xF}, 10},
  {"wire T4 cut",                     {0x8, 0xF, 0x8, 0xF}, 10},
  {"short T1 GND",                    {0x0, 0xE, 0x0, 0xE}, 10},
  // T4 hangs on F1, F2 and F3 in a row in the first step, on F5 in the third.
  {"output F1 dead",                  {0x8, 0xF, 0x0, 0xF},  5},
  {"output F2 dead",                  {0x8, 0xF, 0x0, 0xF},  5},
  {"output F3 dead",                  {0x8, 0xF, 0x0, 0xF},  5},
  {"output F4 dead",                  {0x4, 0xF, 0x4, 0xF}, 10},
  {"output F5 dead",                  {0x0, 0xF, 0x8, 0xF},  5},
  {"output F6 dead",                  {0x1, 0xF, 0x1, 0xF}, 10},
  {"output F7 dead",                  {0x2, 0xF, 0x2, 0xF}, 10},
  {"output F4 closed",                {0x0, 0xB, 0x0, 0xB}, 10},
  {"output F5 closed",                {0x0, 0x7, 0x0, 0x7}, 10},
  {"output F6 closed",                {0x0, 0xE, 0x0, 0xE}, 10},
  {"output F7 closed",                {0x0, 0xD, 0x0, 0xD}, 10},
  // Not found: one of three in a row, and inputs that are always pulled together.
  {"output F1 closed",                {0x0, 0xF, 0x0, 0xF},  0},
  {"output F2 closed",                {0x0, 0xF, 0x0, 0xF},  0},
  {"output F3 closed",                {0x0, 0xF, 0x0, 0xF},  0},
  {"short T1 T2",                     {0x0, 0xF, 0x0, 0xF},  0},
  {"short T1 T3",                     {0x0, 0xF, 0x0, 0xF},  0},
  {"short T1 T4",                     {0x0, 0xF, 0x0, 0xF},  0},
  {"short T2 T3",                     {0x0, 0xF, 0x0, 0xF},  0},
  {"short T2 T4",                     {0x0, 0xF, 0x0, 0xF},  0},
  {"short T3 T4",                     {0x0, 0xF, 0x0, 0xF},  0},
  {"gpio 74 stuck high",              {0x1, 0xF, 0x1, 0xF}, 10},
  {"gpio 76 stuck low",               {0x0, 0xD, 0x0, 0xD}, 10},
  {"gpio 20 stuck high",              {0x0, 0xF, 0x0, 0xF},  0},
  {"gpio 94 stuck low",               {0x0, 0xF, 0x0, 0xF},  0},
  {"ioctl /dev/qznio 0x80044703",     {0x0, 0x0, 0x0, 0x0}, 10},
  {"ioctl /dev/fpga",                 {0xF, 0xF, 0xF, 0xF}, 10},
};
// clang-format on

void PrintTo(const StepFault& row, std::ostream* out) {
  *out << row.fault;
}

class AlarmRelayStepsFaultTest : public AlarmRelayStepsTest,
                                 public ::testing::WithParamInterface<StepFault> {};

INSTANTIATE_TEST_SUITE_P(Each, AlarmRelayStepsFaultTest, ::testing::ValuesIn(kFaults),
                         [](const auto& row) { return fault_name(row.param.fault); });

TEST_P(AlarmRelayStepsFaultTest, ShowsInTheStepsThatItSpoilsAndInTheCount) {
  board.fault(GetParam().fault);
  run_seven();
  const int errors = GetParam().errors;
  EXPECT_EQ(console.out(), said(4, GetParam().words) + (errors != 0 ? "fail num = 10\n" : ""));
  EXPECT_EQ(console.err(), summary(5, errors));
  expect_reply(519, errors != 0 ? "Fail" : "Pass", errors != 0 ? "测试失败" : "测试成功");
}

// clang-format off
const StepFault kFiveOutputFaults[] = {
  {"wire T1 cut",        {0x1, 0xF, 0x1, 0xF}, 10},
  {"wire T2 cut",        {0x2, 0xF, 0x2, 0xF}, 10},
  {"wire T3 cut",        {0x4, 0xF, 0x4, 0xF}, 10},
  {"wire T4 cut",        {0x8, 0xF, 0x8, 0xF}, 10},
  {"input T1 stuck low", {0x0, 0xE, 0x0, 0xE}, 10},
  {"input T2 stuck low", {0x0, 0xD, 0x0, 0xD}, 10},
  {"input T3 stuck low", {0x0, 0xB, 0x0, 0xB}, 10},
  {"input T4 stuck low", {0x0, 0x7, 0x0, 0x7}, 10},
  {"short T3 GND",       {0x0, 0xB, 0x0, 0xB}, 10},
  // T4 hangs on F2 in the first step, on F3 in the third.
  {"output F1 dead",     {0x4, 0xF, 0x4, 0xF}, 10},
  {"output F2 dead",     {0x8, 0xF, 0x0, 0xF},  5},
  {"output F3 dead",     {0x0, 0xF, 0x8, 0xF},  5},
  {"output F4 dead",     {0x1, 0xF, 0x1, 0xF}, 10},
  {"output F5 dead",     {0x2, 0xF, 0x2, 0xF}, 10},
  {"output F1 closed",   {0x0, 0xB, 0x0, 0xB}, 10},
  {"output F2 closed",   {0x0, 0x7, 0x0, 0x7}, 10},
  {"output F3 closed",   {0x0, 0x7, 0x0, 0x7}, 10},
  {"output F4 closed",   {0x0, 0xE, 0x0, 0xE}, 10},
  {"output F5 closed",   {0x0, 0xD, 0x0, 0xD}, 10},
  // Not found: inputs that are always pulled together.
  {"short T1 T2",        {0x0, 0xF, 0x0, 0xF},  0},
  {"short T1 T3",        {0x0, 0xF, 0x0, 0xF},  0},
  {"short T1 T4",        {0x0, 0xF, 0x0, 0xF},  0},
  {"short T2 T3",        {0x0, 0xF, 0x0, 0xF},  0},
  {"short T2 T4",        {0x0, 0xF, 0x0, 0xF},  0},
  {"short T3 T4",        {0x0, 0xF, 0x0, 0xF},  0},
};
// clang-format on

class AlarmFiveOutputsFaultTest : public AlarmRelayStepsFaultTest {
 protected:
  AlarmFiveOutputsFaultTest() { with_family("68xx-fpga"); }
};

INSTANTIATE_TEST_SUITE_P(Each, AlarmFiveOutputsFaultTest, ::testing::ValuesIn(kFiveOutputFaults),
                         [](const auto& row) { return fault_name(row.param.fault); });

TEST_P(AlarmFiveOutputsFaultTest, ShowsOnABoardWithFiveOutputsToo) {
  board.fault(GetParam().fault);
  t1_sdk_alarm_test_4in5out();
  const int errors = GetParam().errors;
  EXPECT_EQ(console.out(), said(5, GetParam().words) + (errors != 0 ? "fail num = 10\n" : ""));
  EXPECT_EQ(console.err(), summary(5, errors));
  expect_reply(518, errors != 0 ? "Fail" : "Pass", errors != 0 ? "测试失败" : "测试成功");
}

TEST_F(AlarmRelayStepsTest, OneBadStepOfTwentyFailsTheTest) {
  board.at(2100ms, [this] { board.fault("gpio 77 stuck high"); });
  board.at(2600ms, [this] { board.clear_faults(); });
  run_seven();
  EXPECT_EQ(console.err(), summary(5, 1));
  expect_fail(519, "测试失败");
}

TEST_F(AlarmRelayStepsTest, StepsAreCountedNotCycles) {
  board.at(3900ms, [this] { board.fault("ioctl /dev/qznio 0x80044703"); });  // steps 4, 2, 4
  board.at(6100ms, [this] { board.clear_faults(); });
  run_seven();
  EXPECT_EQ(console.err(), summary(5, 3));
  expect_fail(519, "测试失败");
}

}  // namespace
