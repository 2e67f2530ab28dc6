// Registers of the FPGA and of the analogue front end.
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

class RegistersTest : public OnBoard {
 protected:
  void TearDown() override {
    EXPECT_EQ(console.out(), "") << "these functions print nothing";
    OnBoard::TearDown();
  }

  Console console;
};

TEST_F(RegistersTest, TheRecordsAreAnAddressAndAValueOf32BitsEach) {
  static_assert(sizeof(reg_s) == 8 && offsetof(reg_s, addr) == 0 && offsetof(reg_s, value) == 4);
  static_assert(sizeof(tcs_reg_s) == 8 && offsetof(tcs_reg_s, addr) == 0 && offsetof(tcs_reg_s, value) == 4);
}

TEST_F(RegistersTest, AnFpgaRegisterIsWritten) {
  const OpenNode fpga(board, "/dev/fpga");
  set_fpga(fpga.fd(), 0x3C, 0x1234);
  EXPECT_EQ(board->fpga.reg(0x3C), 0x1234U);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/fpga 0x40044603 {60, 4660} = 0"}));
}

TEST_F(RegistersTest, AnFpgaRegisterIsRead) {
  const OpenNode fpga(board, "/dev/fpga");
  board->fpga.set_reg(0x3C, 0xDEADBEEF);
  unsigned value = 0;
  EXPECT_EQ(get_fpga(fpga.fd(), 0x3C, &value), 0);
  EXPECT_EQ(value, 0xDEADBEEFU);
  const std::vector<boardsim::Call> calls = board.trace();
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].request, 0x80044602U);
  EXPECT_EQ(calls[0].record.at(0), 0x3CU);
}

TEST_F(RegistersTest, AnFpgaReadWithoutAPlaceForTheValueFailsAfterTheRequest) {
  const OpenNode fpga(board, "/dev/fpga");
  EXPECT_EQ(get_fpga(fpga.fd(), 0x3C, nullptr), -1);
  EXPECT_EQ(board.hardware_trace().size(), 1U);
}

TEST_F(RegistersTest, AnFpgaReadSucceedsWhateverTheDriverSays) {
  const OpenNode fpga(board, "/dev/fpga");
  board->fpga.set_reg(0x3C, 77);
  board.fault("ioctl /dev/fpga");
  unsigned value = 0xDEADBEEF;
  EXPECT_EQ(get_fpga(fpga.fd(), 0x3C, &value), 0);
  EXPECT_EQ(value, 0U) << "the value that went in comes back";
}

TEST_F(RegistersTest, AnFpgaWriteThatFailsPassesInSilence) {
  const OpenNode fpga(board, "/dev/fpga");
  board.fault("ioctl /dev/fpga");
  set_fpga(fpga.fd(), 0x3C, 1);
  EXPECT_EQ(board->fpga.reg(0x3C), 0U);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/fpga 0x40044603 {60, 1} = -1 EIO"}));
}

TEST_F(RegistersTest, PositiveResultsOfTheDriversAreIgnored) {
  const OpenNode fpga(board, "/dev/fpga");
  const OpenNode front_end(board, "/dev/tg");
  board.fault("ioctl /dev/fpga result 5");
  board.fault("ioctl /dev/tg result 5");
  unsigned value = 7;
  set_fpga(fpga.fd(), 0x3C, 1);
  set_afe(front_end.fd(), 0x10, 1);
  EXPECT_EQ(get_fpga(fpga.fd(), 0x3C, &value), 0);
  EXPECT_EQ(value, 0U);
  EXPECT_EQ(board.hardware_trace().size(), 3U);
}

TEST_F(RegistersTest, AFrontEndRegisterIsWritten) {
  const OpenNode front_end(board, "/dev/tg");
  set_afe(front_end.fd(), 0x10, 0xFFF);
  EXPECT_EQ(board->timing_generator.reg(0x10), 0xFFFU);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/tg 0x40045402 {16, 4095} = 0"}));
}

TEST_F(RegistersTest, AFrontEndWriteThatFailsPassesInSilence) {
  const OpenNode front_end(board, "/dev/tg");
  board.fault("ioctl /dev/tg");
  set_afe(front_end.fd(), 0x10, 1);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/tg 0x40045402 {16, 1} = -1 EIO"}));
}

TEST_F(RegistersTest, DescriptorZeroCountsAsNotOpenForTheFpga) {
  const FreeDescriptorZero zero;
  ASSERT_EQ(::open("/dev/fpga", O_RDWR), 0);
  board.clear_trace();
  unsigned value = 5;
  set_fpga(0, 0x3C, 1);
  EXPECT_EQ(get_fpga(0, 0x3C, &value), -1);
  EXPECT_EQ(value, 5U);
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(RegistersTest, DescriptorZeroCountsAsNotOpenForTheFrontEnd) {
  const FreeDescriptorZero zero;
  ASSERT_EQ(::open("/dev/tg", O_RDWR), 0);
  board.clear_trace();
  set_afe(0, 0x10, 1);
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(RegistersTest, WithoutADescriptorNothingHappens) {
  unsigned value = 5;
  set_fpga(-1, 0x3C, 1);
  set_afe(-1, 0x10, 1);
  EXPECT_EQ(get_fpga(-1, 0x3C, &value), -1);
  EXPECT_EQ(value, 5U);
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

}  // namespace
