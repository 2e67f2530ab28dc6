// The loopback variants of boards with five inputs: which values each of the FPGA boards, the MA boards and
// the boards with an alarm driver gets, every call with its time, and what only one of them does.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "tests/peripheral/alarm_room.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;

/// What a port writes: registers 0x2018 and 0x2002 of both patterns.
struct Values {
  std::uint32_t ex1, value1, ex2, value2;
};

// T1, T2, T3, T4, SYNC
// clang-format off
const Values kNormal[] = {
    {0, 0x3819C0, 0, 0x3805C0}, {0, 0x3815C0, 0, 0x3809C0}, {0, 0x380DC0, 0, 0x3811C0},
    {0, 0x380DC0, 0, 0x3811C0}, {0, 0x380DC0, 0, 0x3811C0}};
const Values kShort[] = {{0, 6, 0, 1}, {0, 5, 0, 2}, {0, 3, 0, 4}, {0, 3, 0, 4}, {0, 3, 0, 4}};
const Values kMa[] = {
    {0x40, 0x6C01DC0, 0x440, 0xC001C0}, {0x440, 0x4C01DC0, 0x40, 0x2C001C0}, {0x440, 0x6C019C0, 0x40, 0xC005C0},
    {0x440, 0x6C015C0, 0x40, 0xC009C0}, {0x440, 0x2C00DC0, 0x40, 0x4C011C0}};
// clang-format on

class AlarmFivePortsTest : public AlarmRoom {
 protected:
  static constexpr int kCode = 520;

  /// A run of the FPGA boards.
  static HardwareScript normal_run(std::uint32_t expansion, const Values (&ports)[5]) {
    const std::vector<unsigned> lines = {74, 76, 77, 78, 94};
    HardwareScript it = opened("/dev/fpga");
    set_up_fpga(it, expansion);
    it.query().test_control(1);
    for (int cycle = 0; cycle < 2; ++cycle) {
      for (const Values& port : ports) {
        it.fpga(0x2002, port.value1).wait(200ms).query_and_read(lines);
        it.fpga(0x2002, port.value2).wait(300ms).query_and_read(lines);
      }
      it.wait(500ms);
    }
    it.fpga(0x2002, 0x380038);
    return finish(it).close("/dev/fpga");
  }
  static HardwareScript ma_run(std::uint32_t expansion) {
    const std::vector<unsigned> lines = {17, 18, 19, 20, 114, 114, 114, 114};
    HardwareScript it = opened("/dev/fpga");
    set_up_fpga(it, expansion);
    it.query().test_control(1);
    for (int cycle = 0; cycle < 2; ++cycle) {
      for (const Values& port : kMa) {
        it.fpga(0x2018, port.ex1).fpga(0x2002, port.value1).wait(200ms).read(lines);
        it.fpga(0x2018, port.ex2).fpga(0x2002, port.value2).wait(300ms).read(lines);
      }
      it.wait(500ms);
    }
    return finish(it).close("/dev/fpga");
  }
  /// A run of the boards with an alarm driver: first all outputs but the port's, then that one alone.
  static HardwareScript driver_run(const std::vector<unsigned>& lines) {
    HardwareScript it = opened("/dev/alarm");
    it.test_control(1);
    for (int cycle = 0; cycle < 2; ++cycle) {
      for (const std::uint32_t mask : {1U, 2U, 4U, 8U, 16U}) {
        it.outputs(0x0FFFFFFF - mask).wait(500ms).query_and_read(lines);
        it.outputs(mask).wait(500ms).query_and_read(lines);
      }
      it.wait(500ms);
    }
    return finish(it).close("/dev/alarm");
  }
  /// Goes on with a board of a type and runs the FPGA boards' test there.
  void run_on_type(std::uint32_t type) {
    SCOPED_TRACE(type);
    next_board("normal");
    board.set_type(type);
    alarm_test_64xx(0, kCode);
    expect_pass(kCode);
  }
};

TEST_F(AlarmFivePortsTest, AnFpgaBoardGetsItsValuesAtTheirTimesInEachMode) {
  const std::uint32_t expansion[] = {0, 0x10, 8};
  for (unsigned mode = 0; mode < std::size(expansion); ++mode) {
    SCOPED_TRACE(mode);
    next_board("normal");
    alarm_test_64xx(mode, kCode);
    expect_trace(normal_run(expansion[mode], kNormal));
  }
}

TEST_F(AlarmFivePortsTest, FiveTypesOfBoardsGetShortValues) {
  for (const std::uint32_t type : {0x27202U, 0x27203U, 0x27204U, 0x27205U, 0x970EU}) {
    run_on_type(type);
    expect_trace(normal_run(0, kShort));
  }
}

TEST_F(AlarmFivePortsTest, EveryOtherBoardGetsLongValues) {
  for (const std::uint32_t type :
       {0x27201U, 0x27206U, 0x970DU, 0x970FU, 0x7202U, 0x97C2U, 0x9615U, 0x1970EU}) {
    run_on_type(type);
    expect_trace(normal_run(0, kNormal));
  }
}

TEST_F(AlarmFivePortsTest, ABoardThatCannotSayWhoItIsGetsLongValues) {
  board.set_type(0x27202);
  board.fault("ioctl /dev/qznio 0x80044801 #1");
  alarm_test_64xx(0, kCode);
  EXPECT_NE(console.out().find("ioctl error,ret = -1\n"), std::string::npos);
  const Lines calls = board.hardware_trace();
  const std::string long_value = "ioctl /dev/fpga 0x40044603 {8194, 0x003819c0} = 0";  // register 0x2002
  EXPECT_EQ(std::ranges::count(calls, long_value), 2) << "once a cycle";
}

TEST_F(AlarmFivePortsTest, AMaskOfNoPortIsCheckedAsSync) {
  const OpenNode io(board, "/dev/qznio");
  const OpenNode fpga(board, "/dev/fpga");
  gpiofd = io.fd();
  char text[512];
  EXPECT_EQ(alarm_test_everyport(fpga.fd(), 1, 2, text, 32), 1);
  EXPECT_EQ(console.out(), "F3+、F3-短路或T1、T3短路或T2、T4短路SYNC、GND短路\n");
}

// ---- MA boards -------------------------------------------------------------------------------------------

TEST_F(AlarmFivePortsTest, AnMaBoardGetsItsValuesAtTheirTimesInEachMode) {
  const std::uint32_t expansion[] = {0, 0x10, 8, 0};
  for (unsigned mode = 0; mode < std::size(expansion); ++mode) {
    SCOPED_TRACE(mode);
    next_board("ma");
    alarm_test_64xx_19(mode, kCode);
    expect_trace(ma_run(expansion[mode]));
  }
}

TEST_F(AlarmFivePortsTest, AnMaBoardPrintsItsInputWordAfterEachReading) {
  next_board("ma");
  alarm_test_64xx_19(0, kCode);
  const Lines lines = console.lines();
  const Lines cycle = {"",
                       "第1次测试",
                       "0x1",
                       "0xfe",
                       "T1口报警输入测试成功",
                       "0x2",
                       "0xfd",
                       "T2口报警输入测试成功",
                       "0x4",
                       "0xfb",
                       "T3口报警输入测试成功",
                       "0x8",
                       "0xf7",
                       "T4口报警输入测试成功",
                       "0xf0",
                       "0xf",
                       "SYNC口报警输入测试成功"};
  EXPECT_EQ(Lines(lines.begin() + 2, lines.begin() + 2 + 17), cycle);
}

TEST_F(AlarmFivePortsTest, SyncOfMaBoardsDependsOnLine114Only) {
  next_board("ma");
  for (const unsigned line : {17U, 18U, 19U, 20U, 94U}) {
    board.fault("gpio " + std::to_string(line) + " stuck high");
  }
  alarm_test_64xx_19(0, kCode);
  EXPECT_NE(console.out().find("SYNC口报警输入测试成功\n"), std::string::npos);
  expect_fail(kCode, "测试失败:T4不通或(F3+F3-)短路!!!");

  board.clear_faults();
  board.fault("gpio 114 stuck high");
  station.forget();
  alarm_test_64xx_19(0, kCode);
  expect_fail(kCode, "测试失败:SYNC不通或(F3+F3-)短路!!!");
}

// ---- boards with an alarm driver -------------------------------------------------------------------------

TEST_F(AlarmFivePortsTest, ABoardWithAnAlarmDriverGetsItsPatternsAtTheirTimesInEachMode) {
  for (unsigned mode = 0; mode <= 2; ++mode) {
    SCOPED_TRACE(mode);
    next_board("68xx");
    alarm_test_68xx(mode, kCode);
    expect_trace(driver_run({74, 76, 77, 78, 94}));
  }
}

TEST_F(AlarmFivePortsTest, AnRkdBoardReadsItsOwnLines) {
  next_board("rkd1");
  alarm_test_68xx(0, kCode);
  expect_trace(driver_run({25, 26, 27, 28, 29}));
  expect_pass(kCode);
}

}  // namespace
