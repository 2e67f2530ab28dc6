// Registers of the FPGA, of the analogue front end and of the stm8 coprocessor.
#include "t1_sdk/boardtest/platform/registers.h"

#include <gtest/gtest.h>
#include <cstddef>
#include <string>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/open_node.h"

namespace {

using Lines = std::vector<std::string>;

// ---- FPGA and front end, whose functions print nothing -----------------------------------------------

class RegistersTest : public OnBoard {
 protected:
  void TearDown() override {
    EXPECT_EQ(console.out(), "") << "these functions print nothing";
    fpga.reset();
    front_end.reset();
    OnBoard::TearDown();
  }

  std::optional<OpenNode> front_end{std::in_place, board, "/dev/tg"};
  std::optional<OpenNode> fpga{std::in_place, board, "/dev/fpga"};
  Console console;
};

TEST_F(RegistersTest, TheRecordsAreAnAddressAndAValueOf32BitsEach) {
  static_assert(sizeof(reg_s) == 8 && offsetof(reg_s, addr) == 0 && offsetof(reg_s, value) == 4);
  static_assert(sizeof(tcs_reg_s) == 8 && offsetof(tcs_reg_s, addr) == 0 && offsetof(tcs_reg_s, value) == 4);
}

TEST_F(RegistersTest, RegistersAreWritten) {
  set_fpga(fpga->fd(), 0x3C, 0x1234);
  set_afe(front_end->fd(), 0x10, 0xFFF);
  EXPECT_EQ(board->fpga.reg(0x3C), 0x1234U);
  EXPECT_EQ(board->timing_generator.reg(0x10), 0xFFFU);
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/fpga 0x40044603 {60, 4660} = 0", "ioctl /dev/tg 0x40045402 {16, 4095} = 0"}));
}

TEST_F(RegistersTest, AnFpgaRegisterIsRead) {
  board->fpga.set_reg(0x3C, 0xDEADBEEF);
  unsigned value = 0;
  EXPECT_EQ(get_fpga(fpga->fd(), 0x3C, &value), 0);
  EXPECT_EQ(value, 0xDEADBEEFU);
  EXPECT_EQ(get_fpga(fpga->fd(), 0x3C, nullptr), -1) << "after the request";
  const std::vector<boardsim::Call> calls = board.trace();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].request, 0x80044602U);
  EXPECT_EQ(calls[0].record.at(0), 0x3CU);
}

TEST_F(RegistersTest, AnFpgaReadSucceedsWhateverTheDriverSays) {
  board->fpga.set_reg(0x3C, 77);
  for (const char* fault : {"ioctl /dev/fpga", "ioctl /dev/fpga result 5"}) {
    board.fault(fault);
    unsigned value = 0xDEADBEEF;
    EXPECT_EQ(get_fpga(fpga->fd(), 0x3C, &value), 0);
    EXPECT_EQ(value, 0U) << "the value that went in comes back";
    board.clear_faults();
  }
}

TEST_F(RegistersTest, WritesThatFailPassInSilence) {
  board.fault("ioctl /dev/fpga");
  board.fault("ioctl /dev/tg");
  set_fpga(fpga->fd(), 0x3C, 1);
  set_afe(front_end->fd(), 0x10, 1);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/fpga 0x40044603 {60, 1} = -1 EIO",
                                           "ioctl /dev/tg 0x40045402 {16, 1} = -1 EIO"}));
}

TEST_F(RegistersTest, DescriptorZeroCountsAsNotOpen) {
  const FreeDescriptorZero zero;
  for (const char* node : {"/dev/fpga", "/dev/tg"}) {
    ASSERT_EQ(::open(node, O_RDWR), 0);
    board.clear_trace();
    for (const int fd : {0, -1}) {
      unsigned value = 5;
      set_fpga(fd, 0x3C, 1);
      set_afe(fd, 0x10, 1);
      EXPECT_EQ(get_fpga(fd, 0x3C, &value), -1);
      EXPECT_EQ(value, 5U);
    }
    EXPECT_EQ(board.hardware_trace(), Lines{});
    ::close(0);
  }
}

// ---- stm8 --------------------------------------------------------------------------------------------

class Stm8Test : public OnBoard {
 protected:
  Console console;
};

TEST_F(Stm8Test, ARegisterIsRead) {
  board->stm8.set_reg(0x43, 0xCAFE);
  unsigned value = 0;
  EXPECT_EQ(stm8_reg_read(0x43, &value), 0);
  EXPECT_EQ(value, 0xCAFEU);
  const std::vector<boardsim::Call> calls = board.trace();
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[0].text(), "open /dev/tcs = ok");
  EXPECT_EQ(calls[1].request, 0x80045401U);
  EXPECT_EQ(calls[1].record.at(0), 0x43U);
  EXPECT_EQ(calls[2].text(), "close /dev/tcs = 0");
  EXPECT_EQ(stm8_reg_read(0x43, nullptr), 0) << "without a place for the value";
  EXPECT_EQ(console.out(), "");
}

TEST_F(Stm8Test, ARegisterIsWrittenAndTheFrontEndsOfTheSameRequestNumberIsNot) {
  EXPECT_EQ(stm8_reg_write(0x44, 6), 0);
  EXPECT_EQ(board->stm8.reg(0x44), 6U);
  EXPECT_EQ(board->timing_generator.reg(0x44), 0U);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/tcs = ok", "ioctl /dev/tcs 0x40045402 {68, 6} = 0", "close /dev/tcs = 0"}));
}

TEST_F(Stm8Test, ANodeThatCannotBeOpenedFailsReadAndWrite) {
  board.fault("open /dev/tcs");
  unsigned value = 9;
  EXPECT_EQ(stm8_reg_read(0x43, &value), -1);
  EXPECT_EQ(value, 9U);
  EXPECT_EQ(stm8_reg_write(0x43, 6), -1);
  EXPECT_EQ(console.out(), "get stm8 handle error\nget stm8 handle error\n");
  EXPECT_EQ(board.hardware_trace(), Lines(2, "open /dev/tcs = -1 ENODEV"));
}

TEST_F(Stm8Test, AFailedRequestNamesTheRegisterAndLeavesOneMoreNodeOpen) {
  board.fault("ioctl /dev/tcs");
  unsigned value = 9;
  EXPECT_EQ(stm8_reg_read(0xAB, &value), -1);
  EXPECT_EQ(value, 9U);
  EXPECT_EQ(stm8_reg_write(0xAB, 6), -1);
  EXPECT_EQ(board->stm8.reg(0xAB), 0U);
  EXPECT_EQ(console.out(), "read stm8 reg addr 0xab err!\nwrite stm8 reg addr 0xab err!\n");
  expect_open({"/dev/tcs", "/dev/tcs"});
}

TEST_F(Stm8Test, APositiveResultIsNoFailure) {
  board.fault("ioctl /dev/tcs result 5");
  unsigned value = 9;
  EXPECT_EQ(stm8_reg_read(0xAB, &value), 0);
  EXPECT_EQ(value, 0U) << "the value that went in comes back";
  EXPECT_EQ(stm8_reg_write(0xAB, 6), 0);
  EXPECT_EQ(console.out(), "");
}

}  // namespace
