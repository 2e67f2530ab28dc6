// What the alarm tests on GPIO lines say of each wire and each output that is wrong.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"
#include "tests/peripheral/alarm_reports.h"
#include "tests/peripheral/alarm_step_lines.h"

namespace {

enum class Port { none, first, second };

struct WireFault {
  const char* fault;
  Port port;         ///< the port that fails
  const char* said;  ///< in each of its repetitions
};

void PrintTo(const WireFault& row, std::ostream* out) {
  *out << row.fault;
}

std::string name_of(const ::testing::TestParamInfo<WireFault>& row) {
  return fault_name(row.param.fault);
}

class WireFaultRun : public AlarmRun, public ::testing::WithParamInterface<WireFault> {
 protected:
  explicit WireFaultRun(std::string_view family) : AlarmRun(family) { board.fault(GetParam().fault); }

  /// Expects what a run of two cycles says when each of them goes like this.
  void expect_cycles(const std::string& cycle) {
    const bool fails = GetParam().port != Port::none;
    EXPECT_EQ(console.out(), "alarm_test_rkd\n" + cycle_head(1) + cycle + cycle_head(2) + cycle + "\n" +
                                 (fails ? "fail num = 10\n" : ""));
    EXPECT_EQ(console.err(), summary(2, fails ? 2 : 0));
  }
  /// What a port's check says.
  std::string check(Port port) const {
    const std::string done = "报警输入,报警输出测试成功.\n";
    return GetParam().port == port ? std::string(GetParam().said) + GetParam().said + done : done;
  }
};

// ---- two ports behind a relay each ------------------------------------------------------------

constexpr const char* kLowLow0 = "报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:0.\n";
constexpr const char* kLowHigh1 = "报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:1.\n";
constexpr const char* kHighHigh0 = "报警输入F-HIGH,报警输出A-HIGH测试失败,alarm_in.value:0.\n";

// clang-format off
const WireFault kTwoPorts[] = {
  {"wire T1 cut",         Port::first,  kLowHigh1},
  {"wire T2 cut",         Port::second, kLowHigh1},
  {"input T1 stuck high", Port::first,  kLowHigh1},
  {"input T1 stuck low",  Port::first,  kLowLow0},
  {"input T2 stuck high", Port::second, kLowHigh1},
  {"input T2 stuck low",  Port::second, kLowLow0},
  {"output A1 dead",      Port::first,  kLowHigh1},
  {"output A2 dead",      Port::second, kLowHigh1},
  {"output A1 closed",    Port::first,  kLowLow0},
  {"output A2 closed",    Port::second, kLowLow0},
  {"output F1 dead",      Port::first,  kHighHigh0},
  {"output F2 dead",      Port::second, kHighHigh0},
  {"output F1 closed",    Port::first,  kHighHigh0},
  {"output F2 closed",    Port::second, kHighHigh0},
  {"output F1 open",      Port::first,  kLowHigh1},
  {"output F2 open",      Port::second, kLowHigh1},
  {"short T1 GND",        Port::first,  kLowLow0},
  {"short T1 T2",         Port::none,   ""},  // each port is tested while the other one rests
};
// clang-format on

class TwoPortsWireTest : public WireFaultRun {
 protected:
  TwoPortsWireTest() : WireFaultRun("rkd1") {}
};

INSTANTIATE_TEST_SUITE_P(Each, TwoPortsWireTest, ::testing::ValuesIn(kTwoPorts), name_of);

TEST_P(TwoPortsWireTest, IsSaidOfItsPortOnTheConsoleOnly) {
  t1_sdk_alarm_test_2in4out();
  expect_cycles(check(Port::first) + check(Port::second));
  const bool fails = GetParam().port != Port::none;
  expect_reply(535, fails ? "Fail" : "Pass", fails ? "" : "测试成功");
}

// ---- one port behind two relays -----------------------------------------------------------------

constexpr const char* kStep1 = "继电器1断开,2闭合,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n";
constexpr const char* kStep2 = "继电器1断开,2断开,报警输入F-LOW,报警输出A-HIGH测试失败,alarm_in.value:0.\n";
constexpr const char* kStep3 = "继电器1闭合,2断开,报警输入F-LOW,报警输出A-LOW测试失败,alarm_in.value:1.\n";
constexpr const char* kStep4 = "继电器1断开,2闭合,报警输入F-HIGH,报警输出A-HIGH测试失败,alarm_in.value:0.\n";

// clang-format off
const WireFault kThreeOutputs[] = {
  {"wire T1 cut",         Port::first, kStep1},
  {"input T1 stuck high", Port::first, kStep1},
  {"input T1 stuck low",  Port::first, kStep2},
  {"output A1 dead",      Port::first, kStep3},
  {"output A2 dead",      Port::first, kStep1},
  {"output A1 closed",    Port::first, kStep2},
  {"output A2 closed",    Port::first, kStep2},
  {"output F1 dead",      Port::first, kStep4},
  {"output F1 closed",    Port::first, kStep4},
  {"output F1 open",      Port::first, kStep1},
};
// clang-format on

class ThreeOutputsWireTest : public WireFaultRun {
 protected:
  ThreeOutputsWireTest() : WireFaultRun("rkd2") {}
};

INSTANTIATE_TEST_SUITE_P(Each, ThreeOutputsWireTest, ::testing::ValuesIn(kThreeOutputs), name_of);

TEST_P(ThreeOutputsWireTest, IsSaidByTheFirstStepThatItSpoils) {
  t1_sdk_alarm_test_1in3out();
  expect_cycles(check(Port::first));
  expect_fail(69634, "");
}

// ---- one input, one output ----------------------------------------------------------------------

// clang-format off
const WireFault kOneLine[] = {
  {"wire T1 cut",         Port::first, "报警输入1,报警输出1测试失败,alarm_in.value:1.\n"},
  {"input T1 stuck high", Port::first, "报警输入1,报警输出1测试失败,alarm_in.value:1.\n"},
  {"output F1 dead",      Port::first, "报警输入1,报警输出1测试失败,alarm_in.value:1.\n"},
  {"input T1 stuck low",  Port::first, "报警输入1,报警输出1测试失败,alarm_in.value :0.\n"},
  {"output F1 closed",    Port::first, "报警输入1,报警输出1测试失败,alarm_in.value :0.\n"},
};
// clang-format on

class OneLineWireTest : public WireFaultRun {
 protected:
  OneLineWireTest() : WireFaultRun("normal") { expect_open({"/dev/qznio"}); }
};

INSTANTIATE_TEST_SUITE_P(Each, OneLineWireTest, ::testing::ValuesIn(kOneLine), name_of);

TEST_P(OneLineWireTest, IsSaidInEachOfFiveRepetitions) {
  board->bench.set_jig("1in1out");
  t1_sdk_alarm_test_1in1out();
  std::string expected = "alarm_test_65xx\n";
  for (int repetition = 0; repetition < 5; ++repetition) expected += GetParam().said;
  EXPECT_EQ(console.out(), expected +
                               "\n================报警输入1,报警输出1测试结束================\n"
                               "!!!报警输入1,报警输出1测试成功-0-次，失败-5-次!!!\nfail num = 10\n");
  expect_fail(513, "测试失败");
}

}  // namespace
