// Registers of the stm8 coprocessor.
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/platform/registers.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"

namespace {

using Lines = std::vector<std::string>;

class Stm8Test : public OnBoard {
 protected:
  Console console;
};

TEST_F(Stm8Test, ARegisterIsRead) {
  board->stm8.set_reg(0x43, 0xCAFE);
  unsigned value = 0;
  EXPECT_EQ(stm8_reg_read(0x43, &value), 0);
  EXPECT_EQ(value, 0xCAFEU);
  EXPECT_EQ(console.out(), "");
  const std::vector<boardsim::Call> calls = board.trace();
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].text(), "open /dev/tcs = ok");
  EXPECT_EQ(calls[1].request, 0x80045401U);
  EXPECT_EQ(calls[1].record.at(0), 0x43U);
  EXPECT_EQ(calls[2].text(), "close /dev/tcs = 0");
}

TEST_F(Stm8Test, AReadWithoutAPlaceForTheValueSucceeds) {
  EXPECT_EQ(stm8_reg_read(0x43, nullptr), 0);
  EXPECT_EQ(console.out(), "");
}

TEST_F(Stm8Test, ARegisterIsWritten) {
  EXPECT_EQ(stm8_reg_write(0x44, 6), 0);
  EXPECT_EQ(board->stm8.reg(0x44), 6U);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/tcs = ok", "ioctl /dev/tcs 0x40045402 {68, 6} = 0", "close /dev/tcs = 0"}));
}

TEST_F(Stm8Test, ANodeThatCannotBeOpenedFailsTheRead) {
  board.fault("open /dev/tcs");
  unsigned value = 9;
  EXPECT_EQ(stm8_reg_read(0x43, &value), -1);
  EXPECT_EQ(value, 9U);
  EXPECT_EQ(console.out(), "get stm8 handle error\n");
  EXPECT_EQ(board.hardware_trace(), (Lines{"open /dev/tcs = -1 ENODEV"}));
}

TEST_F(Stm8Test, ANodeThatCannotBeOpenedFailsTheWrite) {
  board.fault("open /dev/tcs");
  EXPECT_EQ(stm8_reg_write(0x43, 6), -1);
  EXPECT_EQ(console.out(), "get stm8 handle error\n");
}

TEST_F(Stm8Test, AFailedReadNamesTheRegisterAndLeavesTheNodeOpen) {
  board.fault("ioctl /dev/tcs");
  unsigned value = 9;
  EXPECT_EQ(stm8_reg_read(0xAB, &value), -1);
  EXPECT_EQ(value, 9U);
  EXPECT_EQ(console.out(), "read stm8 reg addr 0xab err!\n");
  expect_open({"/dev/tcs"});
}

TEST_F(Stm8Test, AFailedWriteNamesTheRegisterAndLeavesTheNodeOpen) {
  board.fault("ioctl /dev/tcs");
  EXPECT_EQ(stm8_reg_write(0xAB, 6), -1);
  EXPECT_EQ(board->stm8.reg(0xAB), 0U);
  EXPECT_EQ(console.out(), "write stm8 reg addr 0xab err!\n");
  expect_open({"/dev/tcs"});
}

TEST_F(Stm8Test, APositiveResultIsNoFailure) {
  board.fault("ioctl /dev/tcs result 5");
  unsigned value = 9;
  EXPECT_EQ(stm8_reg_read(0xAB, &value), 0);
  EXPECT_EQ(value, 0U) << "the value that went in comes back";
  EXPECT_EQ(stm8_reg_write(0xAB, 6), 0);
  EXPECT_EQ(console.out(), "");
}

TEST_F(Stm8Test, EveryFailedRequestLeavesOneMoreNodeOpen) {
  board.fault("ioctl /dev/tcs");
  for (int time = 0; time < 3; ++time) EXPECT_EQ(stm8_reg_read(1, nullptr), -1);
  expect_open({"/dev/tcs", "/dev/tcs", "/dev/tcs"});
}

TEST_F(Stm8Test, TheFrontEndSharesARequestNumberButNotItsRegisters) {
  stm8_reg_write(0x10, 6);
  EXPECT_EQ(board->stm8.reg(0x10), 6U);
  EXPECT_EQ(board->timing_generator.reg(0x10), 0U);
}

}  // namespace
