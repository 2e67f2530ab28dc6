// The substrate voltage on its way to the hardware: the I/O driver on 65xx boards, the FPGA on all others.
#include "t1_sdk/boardtest/sensor/vsub/output.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/sensor/vsub_run.h"

namespace {

class VsubOutputTest : public VsubRun {};

TEST_F(VsubOutputTest, TheFpgaTakesTheCodeAndThenAStrobe) {
  setVsubToFpga(0xA86);
  VsubScript expected;
  expected.apply(0xA86);
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board->substrate_voltage.code(), 0xA86U);
  expect_console("");
}

TEST_F(VsubOutputTest, EveryBoardBut65xxTakesItThroughTheFpga) {
  for (const boardsim::Family& family : boardsim::families()) {
    SCOPED_TRACE(family.name);
    const bool by_driver = family.name.starts_with("65xx");
    next_board(family.name);
    setVsubToFpga(2600);
    EXPECT_EQ(board->fpga.reg(0x2001), by_driver ? 0U : 2600U);
    EXPECT_EQ(board->fpga.reg(0x2102), by_driver ? 0U : 1U);
    EXPECT_EQ(board->substrate_voltage.code(), 2600U);
    expect_console(by_driver ? "set vsub = 0xa28\n" : "");
  }
}

TEST_F(VsubOutputTest, WithoutTheFpgaALineSaysSo) {
  board.fault("open /dev/fpga");
  setVsubToFpga(2694);
  expect_console("Open /dev/fpga error.\n");
}

TEST_F(VsubOutputTest, TheStrobeFollowsARefusedCodeAndNothingIsSaid) {
  board.fault("ioctl /dev/fpga #1");
  setVsubToFpga(2694);
  EXPECT_EQ(board->fpga.reg(0x2001), 0U);
  EXPECT_EQ(board->fpga.reg(0x2102), 1U);
  expect_console("");
}

TEST_F(VsubOutputTest, ABoardThatCannotTellItsTypeTakesItThroughTheFpga) {
  next_board("65xx");
  board.fault("open /dev/qznio");
  setVsubToFpga(2694);
  EXPECT_EQ(board->fpga.reg(0x2001), 2694U);
  expect_console("open /dev/qznio error.\n");
}

TEST_F(VsubOutputTest, TheIoDriverOfA65xxBoardTakesTheCode) {
  next_board("65xx");
  setVsubToFpga(0xA86);
  VsubScript expected;
  expected.query();
  expected.open("/dev/qznio").call("ioctl /dev/qznio 0x40044d0e {2694} = 0").close("/dev/qznio");
  EXPECT_EQ(board.timed_hardware_trace(), expected.lines());
  EXPECT_EQ(board->substrate_voltage.code(), 0xA86U);
  expect_console("set vsub = 0xa86\n");
}

TEST_F(VsubOutputTest, NoCodeIsCheckedAndANegativeOneIsItsBits) {
  setVsubToFpga(-1);
  EXPECT_EQ(board->fpga.reg(0x2001), 0xFFFFFFFFU);
  next_board("65xx");
  setVsubToFpga(-1);
  expect_console("set vsub = 0xffffffff\n");
}

TEST_F(VsubOutputTest, AnIoDriverThatCannotBeOpenedIsNamed) {
  next_board("65xx");
  board.fault("open /dev/qznio #2");
  setVsubToFpga(2694);
  expect_console("Open /dev/qznio error.\n");
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
}

TEST_F(VsubOutputTest, ACodeThatTheIoDriverRefusesIsShownWithItsAnswer) {
  next_board("65xx");
  board.fault("ioctl /dev/qznio 0x40044d0e");
  setVsubToFpga(2694);
  expect_console("vsub_val set error! ret = -1\n");
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/qznio = 0");
}

TEST_F(VsubOutputTest, AnAnswerAboveZeroIsNoRefusal) {
  next_board("65xx");
  board.fault("ioctl /dev/qznio 0x40044d0e result 5");
  setVsubToFpga(2694);
  expect_console("set vsub = 0xa86\n");
}

}  // namespace
