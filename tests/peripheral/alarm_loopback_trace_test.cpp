// The loopback variants on healthy boards: every call on the hardware, with its time.
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/peripheral/alarm_loopback_board.h"
#include "tests/peripheral/hardware_script.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

/// What a port writes: registers 0x2018 and 0x2002 of both patterns.
struct Values {
  std::uint32_t ex1, value1, ex2, value2;
};

// clang-format off
// T1, T2, T3, T4, SYNC
const Values kNormal[] = {
    {0, 0x3819C0, 0, 0x3805C0}, {0, 0x3815C0, 0, 0x3809C0}, {0, 0x380DC0, 0, 0x3811C0},
    {0, 0x380DC0, 0, 0x3811C0}, {0, 0x380DC0, 0, 0x3811C0}};
const Values kNormalShort[] = {{0, 6, 0, 1}, {0, 5, 0, 2}, {0, 3, 0, 4}, {0, 3, 0, 4}, {0, 3, 0, 4}};
// T1 to T7, SYNC
const Values kK[] = {
    {0x180CC0, 0x6C019C0, 0x1800C0, 0xC005C0},  {0x180CC0, 0x6C015C0, 0x1800C0, 0xC009C0},
    {0x180CC0, 0x6C00DC0, 0x1800C0, 0xC011C0},  {0x180CC0, 0x4C01DC0, 0x1800C0, 0x2C001C0},
    {0x180CC0, 0x2C01DC0, 0x1800C0, 0x4C001C0}, {0x1808C0, 0x6C01DC0, 0x1804C0, 0xC001C0},
    {0x1804C0, 0x6C01DC0, 0x1808C0, 0xC001C0},  {0x1800C0, 0xC001C0, 0x180CC0, 0x6C01DC0}};
const Values kKShort[] = {
    {0, 126, 0, 1}, {0, 125, 0, 2}, {0, 123, 0, 4}, {0, 119, 0, 8},
    {0, 111, 0, 16}, {0, 95, 0, 32}, {0, 63, 0, 64}, {0, 127, 0, 0}};
const Values kMa[] = {
    {0x40, 0x6C01DC0, 0x440, 0xC001C0}, {0x440, 0x4C01DC0, 0x40, 0x2C001C0}, {0x440, 0x6C019C0, 0x40, 0xC005C0},
    {0x440, 0x6C015C0, 0x40, 0xC009C0}, {0x440, 0x2C00DC0, 0x40, 0x4C011C0}};
// clang-format on

const std::vector<unsigned> kFiveLines = {74, 76, 77, 78, 94};
const std::vector<unsigned> kMaLines = {17, 18, 19, 20, 114, 114, 114, 114};

void begin(HardwareScript& script, std::uint32_t expansion) {
  script.open("/dev/qznio").open("/dev/qznitc").open("/dev/fpga");
  script.fpga(0x60, expansion).fpga(0x2006, 1).fpga(0x2009, 1).fpga(0x2014, 1).fpga(0x2008, 0);
}

void end(HardwareScript& script, const char* node) {
  script.wait(500ms).test_control(0).close("/dev/qznio").close("/dev/qznitc").close(node);
}

class AlarmLoopbackTraceTest : public AlarmLoopbackBoard {
 protected:
  using AlarmLoopbackBoard::AlarmLoopbackBoard;

  /// A run of the five-input boards.
  static HardwareScript normal_run(std::uint32_t expansion, const Values (&ports)[5],
                                   const std::vector<unsigned>& lines = kFiveLines) {
    HardwareScript script;
    begin(script, expansion);
    script.query().test_control(1);
    for (int cycle = 0; cycle < 2; ++cycle) {
      for (const Values& port : ports) {
        script.fpga(0x2002, port.value1).wait(200ms).query_and_read(lines);
        script.fpga(0x2002, port.value2).wait(300ms).query_and_read(lines);
      }
      script.wait(500ms);
    }
    script.fpga(0x2002, 0x380038);
    end(script, "/dev/fpga");
    return script;
  }
  static void k_pattern(HardwareScript& script, std::uint32_t ex, std::uint32_t value, std::uint32_t relays,
                        std::chrono::milliseconds wait) {
    script.fpga(0x2018, ex).fpga(0x2002, value).fpga(81, relays).fpga(82, relays).wait(wait).read_eight();
  }
  /// A run of the eight-input boards.
  static HardwareScript k_run(std::uint32_t expansion, const Values (&ports)[8]) {
    HardwareScript script;
    begin(script, expansion);
    script.query().test_control(1);
    for (int cycle = 0; cycle < 2; ++cycle) {
      for (std::size_t port = 0; port < 7; ++port) {
        k_pattern(script, ports[port].ex1, ports[port].value1, 1, 200ms);
        k_pattern(script, ports[port].ex2, ports[port].value2, 0, 300ms);
      }
      k_pattern(script, ports[7].ex2, ports[7].value2, 0, 400ms);
      k_pattern(script, ports[7].ex1, ports[7].value1, 1, 400ms);
      script.wait(700ms);
    }
    end(script, "/dev/fpga");
    return script;
  }
  void expect_pass_at(std::chrono::milliseconds time) {
    expect_reply("Pass", "测试成功");
    EXPECT_EQ(board.now(), time);
  }
};

TEST_F(AlarmLoopbackTraceTest, AHealthyNormalBoardWithoutExpansionGetsItsValuesAtTheirTimes) {
  alarm_test_64xx(0, kCode);
  EXPECT_EQ(board.timed_hardware_trace(), normal_run(0, kNormal).lines());
  expect_pass_at(6500ms);
}

TEST_F(AlarmLoopbackTraceTest, AHealthyNormalBoardWithOneAlarmAndOne485GetsItsValuesAtTheirTimes) {
  alarm_test_64xx(1, kCode);
  EXPECT_EQ(board.timed_hardware_trace(), normal_run(0x10, kNormal).lines());
  expect_pass_at(6500ms);
}

TEST_F(AlarmLoopbackTraceTest, AHealthyNormalBoardWithTwoAlarmOutputsGetsItsValuesAtTheirTimes) {
  alarm_test_64xx(2, kCode);
  EXPECT_EQ(board.timed_hardware_trace(), normal_run(8, kNormal).lines());
  expect_pass_at(6500ms);
}

class AlarmShortValuesTest : public AlarmLoopbackTraceTest,
                             public ::testing::WithParamInterface<std::uint32_t> {
 protected:
  AlarmShortValuesTest() { board.set_type(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Types, AlarmShortValuesTest,
                         ::testing::Values(0x27202, 0x27203, 0x27204, 0x27205, 0x970E),
                         [](const auto& type) { return "Type" + std::to_string(type.param); });

TEST_P(AlarmShortValuesTest, ABoardWithShortValuesGetsThem) {
  alarm_test_64xx(0, kCode);
  EXPECT_EQ(board.timed_hardware_trace(), normal_run(0, kNormalShort).lines());
}

TEST_P(AlarmShortValuesTest, AHealthyBoardWithShortValuesPasses) {
  alarm_test_64xx(0, kCode);
  expect_pass_at(6500ms);
}

TEST_P(AlarmShortValuesTest, ABoardThatCannotSayWhoItIsGetsLongValues) {
  board.fault("ioctl /dev/qznio 0x80044801 #1");
  alarm_test_64xx(0, kCode);
  EXPECT_EQ(board->fpga.reg(0x2002), 0x380038U);
  EXPECT_NE(console.out().find("ioctl error,ret = -1\n"), std::string::npos);
  bool long_values = false;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "ioctl" && call.record == std::vector<std::uint32_t>{0x2002, 0x3819C0})
      long_values = true;
  }
  EXPECT_TRUE(long_values);
}

TEST_P(AlarmShortValuesTest, AKBoardsRunKnowsNoShortValuesOfOtherBoards) {
  alarm_test_64xx_k(0, kCode);
  EXPECT_EQ(board.timed_hardware_trace(), k_run(0, kK).lines());
}

class AlarmLongValuesTest : public AlarmShortValuesTest {};

INSTANTIATE_TEST_SUITE_P(Types, AlarmLongValuesTest,
                         ::testing::Values(0x27201, 0x27206, 0x970D, 0x970F, 0x7202, 0x97C2, 0x9615, 0x1970E),
                         [](const auto& type) { return "Type" + std::to_string(type.param); });

TEST_P(AlarmLongValuesTest, EveryOtherBoardGetsLongValues) {
  alarm_test_64xx(0, kCode);
  EXPECT_EQ(board.timed_hardware_trace(), normal_run(0, kNormal).lines());
}

// ---- K boards --------------------------------------------------------------------------------------------

class AlarmKTraceTest : public AlarmLoopbackTraceTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  AlarmKTraceTest() : AlarmLoopbackTraceTest("k") {}
};

INSTANTIATE_TEST_SUITE_P(Modes, AlarmKTraceTest, ::testing::Range(0U, 4U));

TEST_P(AlarmKTraceTest, AHealthyKBoardGetsItsValuesAtTheirTimes) {
  const std::uint32_t expansion[] = {0, 0x10, 8, 0};
  alarm_test_64xx_k(GetParam(), kCode);
  EXPECT_EQ(board.timed_hardware_trace(), k_run(expansion[GetParam()], kK).lines());
  expect_pass_at(10500ms);
}

class AlarmKShortValuesTest : public AlarmLoopbackTraceTest,
                              public ::testing::WithParamInterface<std::uint32_t> {
 protected:
  AlarmKShortValuesTest() : AlarmLoopbackTraceTest("k") { board.set_type(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Types, AlarmKShortValuesTest, ::testing::Values(0x97C2, 0x9615),
                         [](const auto& type) { return "Type" + std::to_string(type.param); });

TEST_P(AlarmKShortValuesTest, AKBoardWithShortValuesGetsThemAndNothingInTheOtherRegister) {
  alarm_test_64xx_k(3, kCode);
  EXPECT_EQ(board.timed_hardware_trace(), k_run(0, kKShort).lines());
}

TEST_P(AlarmKShortValuesTest, AHealthyKBoardWithShortValuesPasses) {
  alarm_test_64xx_k(3, kCode);
  expect_pass_at(10500ms);
}

// ---- MA boards, boards with an alarm driver --------------------------------------------------------------

class AlarmMaTraceTest : public AlarmLoopbackTraceTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  AlarmMaTraceTest() : AlarmLoopbackTraceTest("ma") {}
};

INSTANTIATE_TEST_SUITE_P(Modes, AlarmMaTraceTest, ::testing::Range(0U, 4U));

TEST_P(AlarmMaTraceTest, AHealthyMaBoardGetsItsValuesAtTheirTimes) {
  const std::uint32_t expansion[] = {0, 0x10, 8, 0};
  alarm_test_64xx_19(GetParam(), kCode);
  HardwareScript expected;
  begin(expected, expansion[GetParam()]);
  expected.query().test_control(1);
  for (int cycle = 0; cycle < 2; ++cycle) {
    for (const Values& port : kMa) {
      expected.fpga(0x2018, port.ex1).fpga(0x2002, port.value1).wait(200ms);
      expected.read(kMaLines);
      expected.fpga(0x2018, port.ex2).fpga(0x2002, port.value2).wait(300ms);
      expected.read(kMaLines);
    }
    expected.wait(500ms);
  }
  end(expected, "/dev/fpga");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  expect_pass_at(6500ms);
}

class AlarmDriverTraceTest : public AlarmLoopbackTraceTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  AlarmDriverTraceTest() : AlarmLoopbackTraceTest("68xx") {}

  static HardwareScript driver_run(const std::vector<unsigned>& lines) {
    HardwareScript script;
    script.open("/dev/qznio").open("/dev/qznitc").open("/dev/alarm").test_control(1);
    for (int cycle = 0; cycle < 2; ++cycle) {
      for (const std::uint32_t mask : {1U, 2U, 4U, 8U, 16U}) {
        script.outputs(0x0FFFFFFF - mask).wait(500ms).query_and_read(lines);
        script.outputs(mask).wait(500ms).query_and_read(lines);
      }
      script.wait(500ms);
    }
    end(script, "/dev/alarm");
    return script;
  }
};

INSTANTIATE_TEST_SUITE_P(Modes, AlarmDriverTraceTest, ::testing::Range(0U, 3U));

TEST_P(AlarmDriverTraceTest, AHealthyBoardWithAnAlarmDriverGetsItsPatternsAtTheirTimes) {
  alarm_test_68xx(GetParam(), kCode);
  EXPECT_EQ(board.timed_hardware_trace(), driver_run(kFiveLines).lines());
  expect_pass_at(11500ms);
}

TEST_P(AlarmDriverTraceTest, AHealthyRkdBoardReadsItsOwnLines) {
  board.set_type(0xA60A0);
  alarm_test_68xx(GetParam(), kCode);
  EXPECT_EQ(board.timed_hardware_trace(), driver_run({25, 26, 27, 28, 29}).lines());
}

}  // namespace
