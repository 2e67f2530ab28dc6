// The loopback variant of K boards, with eight inputs: which values they get, every call with its time, and
// SYNC, which is checked in an order of its own.
#include <chrono>
#include <cstdint>
#include <string>

#include "t1_sdk/boardtest/peripheral/alarm/checks.h"
#include "tests/peripheral/alarm_loopback.h"
#include "tests/peripheral/alarm_room.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;

/// What a port writes: registers 0x2018 and 0x2002 of both patterns.
struct Values {
  std::uint32_t ex1, value1, ex2, value2;
};

// T1 to T7, SYNC
// clang-format off
const Values kLong[] = {
    {0x180CC0, 0x6C019C0, 0x1800C0, 0xC005C0},  {0x180CC0, 0x6C015C0, 0x1800C0, 0xC009C0},
    {0x180CC0, 0x6C00DC0, 0x1800C0, 0xC011C0},  {0x180CC0, 0x4C01DC0, 0x1800C0, 0x2C001C0},
    {0x180CC0, 0x2C01DC0, 0x1800C0, 0x4C001C0}, {0x1808C0, 0x6C01DC0, 0x1804C0, 0xC001C0},
    {0x1804C0, 0x6C01DC0, 0x1808C0, 0xC001C0},  {0x1800C0, 0xC001C0, 0x180CC0, 0x6C01DC0}};
const Values kShort[] = {
    {0, 126, 0, 1}, {0, 125, 0, 2}, {0, 123, 0, 4}, {0, 119, 0, 8},
    {0, 111, 0, 16}, {0, 95, 0, 32}, {0, 63, 0, 64}, {0, 127, 0, 0}};
// clang-format on

class AlarmKTest : public AlarmRoom {
 protected:
  static constexpr int kCode = 530;

  AlarmKTest() : AlarmRoom("k") {}

  static void pattern_1(HardwareScript& it, const Values& port, std::chrono::milliseconds wait) {
    it.fpga(0x2018, port.ex1).fpga(0x2002, port.value1).fpga(81, 1).fpga(82, 1).wait(wait).read_eight();
  }
  static void pattern_2(HardwareScript& it, const Values& port, std::chrono::milliseconds wait) {
    it.fpga(0x2018, port.ex2).fpga(0x2002, port.value2).fpga(81, 0).fpga(82, 0).wait(wait).read_eight();
  }
  /// A run. SYNC gets the second pattern first, and a SYNC that is clear then no other one.
  static HardwareScript k_run(std::uint32_t expansion, const Values (&ports)[8], bool sync_is_clear = false) {
    HardwareScript it = opened("/dev/fpga");
    set_up_fpga(it, expansion);
    it.query().test_control(1);
    for (int cycle = 0; cycle < 2; ++cycle) {
      for (std::size_t port = 0; port < 7; ++port) {
        pattern_1(it, ports[port], 200ms);
        pattern_2(it, ports[port], 300ms);
      }
      pattern_2(it, ports[7], 400ms);
      if (!sync_is_clear) pattern_1(it, ports[7], 400ms);
      it.wait(700ms);
    }
    return finish(it).close("/dev/fpga");
  }
  void run_on_type(std::uint32_t type) {
    next_board("k");
    board.set_type(type);
    alarm_test_64xx_k(3, kCode);
    expect_pass(kCode);
  }
};

TEST_F(AlarmKTest, AKBoardGetsItsValuesAtTheirTimesInEachMode) {
  const std::uint32_t expansion[] = {0, 0x10, 8, 0};
  for (unsigned mode = 0; mode < std::size(expansion); ++mode) {
    SCOPED_TRACE(mode);
    next_board("k");
    alarm_test_64xx_k(mode, kCode);
    expect_trace(k_run(expansion[mode], kLong));
  }
}

TEST_F(AlarmKTest, TwoTypesGetShortValuesAndNothingInTheOtherRegister) {
  for (const std::uint32_t type : {0x97C2U, 0x9615U}) {
    SCOPED_TRACE(type);
    run_on_type(type);
    expect_trace(k_run(0, kShort));
  }
}

TEST_F(AlarmKTest, TheTypesThatGetShortValuesOnFivePortsGetLongOnesHere) {
  for (const std::uint32_t type : {0x27202U, 0x27203U, 0x27204U, 0x27205U, 0x970EU}) {
    SCOPED_TRACE(type);
    run_on_type(type);
    expect_trace(k_run(0, kLong));
  }
}

TEST_F(AlarmKTest, AShortedSyncGetsNoOtherPatternAndItsLineHasNoEnd) {
  board.fault("input SYNC stuck low");
  alarm_test_64xx_k(0, kCode);
  expect_trace(k_run(0, kLong, true));
  EXPECT_NE(console.out().find("SYNC口短路\n第2次测试\n"), std::string::npos);
  EXPECT_NE(console.out().find("SYNC口短路\nfail num = 10\n"), std::string::npos);
}

TEST_F(AlarmKTest, ASyncThatFollowsUpsideDownIsCalledShorted) {
  board.at(3501ms, [this] { board.fault("input SYNC stuck low"); });  // its first reading: at 3900 ms
  board.at(3901ms, [this] {
    board.clear_faults();
    board.fault("input SYNC stuck high");
  });
  board.at(4301ms, [this] { board.clear_faults(); });
  alarm_test_64xx_k(0, kCode);
  EXPECT_EQ(console.err(), summary(2, 1));
  expect_fail(kCode, "测试失败:SYNC口短路!!!");
}

TEST_F(AlarmKTest, ACheckOfSyncCountsOneErrorHoweverItFails) {
  const OpenNode io(board, "/dev/qznio");
  const OpenNode fpga(board, "/dev/fpga");
  gpiofd = io.fd();
  char text[512];
  for (const char* fault : {"input SYNC stuck low", "input SYNC stuck high"}) {
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(alarm_test_everyport_k(fpga.fd(), 1, 2, 3, 4, text, 128), 1) << fault;
  }
}

TEST_F(AlarmKTest, WithShortValuesThePortsButNotSyncNoticeAShortBetweenThem) {
  const Loopback variant = loopbacks()[1];
  for (const std::uint32_t type : {0x97C2U, 0x9615U}) {
    for (std::size_t port = 0; port < 7; ++port) {
      const PortTexts& texts = variant.ports[port];
      SCOPED_TRACE(texts.port);
      next_board("k");
      board.set_type(type);
      board.fault(std::string("short ") + texts.port + " SYNC");
      alarm_test_64xx_k(3, kCode);
      const PortFaults only_the_port = {{texts.port, PortFault::shorted}};
      EXPECT_EQ(console.out(), run_console(variant, 3, only_the_port, only_the_port) + "fail num = 10\n");
      expect_fail(kCode, texts.short_description);
    }
  }
}

}  // namespace
