// The substrate voltage on its way to the hardware: the I/O driver on 65xx boards, the FPGA on all others.
#include "t1_sdk/boardtest/sensor/vsub/output.h"

#include <string>
#include <vector>

#include "tests/sensor/sensor_run.h"

namespace {

class VsubOutputTest : public SensorRun {
 protected:
  explicit VsubOutputTest(std::string_view family = "6455") : SensorRun(family) {}

  /// The calls that ask the board for its type.
  static Lines behind_the_question(const Lines& calls) {
    Lines all = {"open /dev/qznio = ok", "ioctl /dev/qznio 0x80044801 {} = 0", "close /dev/qznio = 0"};
    all.insert(all.end(), calls.begin(), calls.end());
    return all;
  }
  void expect_console(const std::string& text) {
    EXPECT_EQ(console.out(), text);
    EXPECT_EQ(console.err(), "");
  }
};

TEST_F(VsubOutputTest, TheFpgaTakesTheCodeAndThenAStrobe) {
  setVsubToFpga(0xA86);
  EXPECT_EQ(board.hardware_trace(),
            behind_the_question({"open /dev/fpga = ok", "ioctl /dev/fpga 0x40044603 {8193, 2694} = 0",
                                 "ioctl /dev/fpga 0x40044603 {8450, 1} = 0", "close /dev/fpga = 0"}));
  EXPECT_EQ(board->fpga.reg(0x2001), 0xA86U);
  EXPECT_EQ(board->fpga.reg(0x2102), 1U);
  EXPECT_EQ(board->substrate_voltage.code(), 0xA86U);
  EXPECT_EQ(board.now(), boardsim::Time{0});
  expect_console("");
}

TEST_F(VsubOutputTest, EveryBoardBut65xxTakesItThroughTheFpga) {
  for (const boardsim::Family& family : boardsim::families()) {
    if (family.name.starts_with("65xx")) continue;
    SCOPED_TRACE(family.name);
    next_board(family.name);
    setVsubToFpga(2600);
    EXPECT_EQ(board->fpga.reg(0x2001), 2600U);
    EXPECT_EQ(board->fpga.reg(0x2102), 1U);
    EXPECT_EQ(board->substrate_voltage.code(), 2600U);
  }
  expect_console("");
}

TEST_F(VsubOutputTest, NoCodeIsChecked) {
  setVsubToFpga(0);
  EXPECT_EQ(board->fpga.reg(0x2001), 0U);
  setVsubToFpga(-1);
  EXPECT_EQ(board->fpga.reg(0x2001), 0xFFFFFFFFU);
}

TEST_F(VsubOutputTest, WithoutTheFpgaALineSaysSo) {
  board.fault("open /dev/fpga");
  setVsubToFpga(2694);
  expect_console("Open /dev/fpga error.\n");
  EXPECT_EQ(board->fpga.reg(0x2001), 0U);
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

class VsubOutput65xxTest : public VsubOutputTest {
 protected:
  VsubOutput65xxTest() : VsubOutputTest("65xx") {}
};

TEST_F(VsubOutput65xxTest, TheIoDriverTakesTheCode) {
  setVsubToFpga(0xA86);
  EXPECT_EQ(board.hardware_trace(),
            behind_the_question(
                {"open /dev/qznio = ok", "ioctl /dev/qznio 0x40044d0e {2694} = 0", "close /dev/qznio = 0"}));
  EXPECT_EQ(board->substrate_voltage.code(), 0xA86U);
  EXPECT_EQ(board->fpga.reg(0x2001), 0U);
  expect_console("set vsub = 0xa86\n");
}

TEST_F(VsubOutput65xxTest, ABoardWithLevelInputsIsNoOther) {
  next_board("65xx-level");
  setVsubToFpga(100);
  EXPECT_EQ(board->substrate_voltage.code(), 100U);
  expect_console("set vsub = 0x64\n");
}

TEST_F(VsubOutput65xxTest, ANegativeCodeIsShownAsItsBits) {
  setVsubToFpga(-1);
  expect_console("set vsub = 0xffffffff\n");
}

TEST_F(VsubOutput65xxTest, ANodeThatCannotBeOpenedIsNamed) {
  board.fault("open /dev/qznio #2");
  setVsubToFpga(2694);
  expect_console("Open /dev/qznio error.\n");
  EXPECT_EQ(board->substrate_voltage.code(), 0U);
}

TEST_F(VsubOutput65xxTest, ARefusedCodeIsShownWithTheDriversAnswerAndTheNodeIsClosed) {
  board.fault("ioctl /dev/qznio 0x40044d0e");
  setVsubToFpga(2694);
  expect_console("vsub_val set error! ret = -1\n");
  EXPECT_EQ(calls_on("/dev/qznio").back(), "close /dev/qznio = 0");
}

TEST_F(VsubOutput65xxTest, AnAnswerAboveZeroIsNoRefusal) {
  board.fault("ioctl /dev/qznio 0x40044d0e result 5");
  setVsubToFpga(2694);
  expect_console("set vsub = 0xa86\n");
}

}  // namespace
