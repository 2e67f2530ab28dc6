// The direction of an RS485 transceiver.
#include "t1_sdk/util/rs485_direction.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/platform/pins.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/open_node.h"

namespace {

using Lines = std::vector<std::string>;
using boardsim::Direction;

class Rs485DirectionTest : public OnBoard {
 protected:
  void TearDown() override {
    node.reset();
    OnBoard::TearDown();
  }

  std::optional<OpenNode> node{std::in_place, board, "/dev/qznio"};
  int fd = node->fd();
  Console console;
};

TEST_F(Rs485DirectionTest, SendingDrivesThePinHigh) {
  EXPECT_EQ(rs485_ctl(fd, 38, 1), 0);
  EXPECT_EQ(board->general_io.direction(38), Direction::output);
  EXPECT_EQ(board->general_io.level(38), 1);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x4004680e {38, 1} = 0"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(Rs485DirectionTest, ReceivingDrivesThePinLow) {
  rs485_ctl(fd, 38, 1);
  board.clear_trace();
  EXPECT_EQ(rs485_ctl(fd, 38, 0), 0);
  EXPECT_EQ(board->general_io.level(38), 0);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x4004680e {38, 0} = 0"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(Rs485DirectionTest, EverythingBut0IsTheLevel1) {
  for (const unsigned enable : {2U, 255U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
    board.clear_trace();
    EXPECT_EQ(rs485_ctl(fd, 38, enable), 0);
    EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x4004680e {38, 1} = 0"}));
  }
}

TEST_F(Rs485DirectionTest, ThePinIsTheCallersChoice) {
  EXPECT_EQ(rs485_ctl(fd, 7, 1), 0);
  EXPECT_EQ(board->general_io.level(7), 1);
  EXPECT_EQ(board->general_io.level(38), 0);
}

TEST_F(Rs485DirectionTest, TheBoardsOwnTransceiverHangsOnPin38) {
  gpio_pin_cfg();
  EXPECT_EQ(rs485_ctl(fd, g_gpio_sets.RS485_tx_en, 1), 0);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x4004680e {38, 1} = 0"}));
}

TEST_F(Rs485DirectionTest, APinThatCannotBeDrivenIsNamedWithItsLevel) {
  board.fault("ioctl /dev/qznio 0x4004680e");
  EXPECT_EQ(rs485_ctl(fd, 38, 5), -1);
  EXPECT_EQ(console.lines(), (Lines{"<T1> DBG:set gpio pin 38 's direction to input failure!",
                                    "<T1> ERR:Setting rs485 gpio[38] value[1] failure!"}));
  console.clear();
  EXPECT_EQ(rs485_ctl(fd, 38, 0), -1);
  EXPECT_EQ(console.out(),
            "<T1> DBG:set gpio pin 38 's direction to input failure!\n"
            "<T1> ERR:Setting rs485 gpio[38] value[0] failure!\n");
}

TEST_F(Rs485DirectionTest, APositiveResultOfTheDriverIsAFailure) {
  board.fault("ioctl /dev/qznio 0x4004680e result 5");
  EXPECT_EQ(rs485_ctl(fd, 38, 1), -1);
  EXPECT_EQ(console.lines().back(), "<T1> ERR:Setting rs485 gpio[38] value[1] failure!");
}

TEST_F(Rs485DirectionTest, ThePinIsNamedWithoutASign) {
  EXPECT_EQ(rs485_ctl(fd, 4294967295U, 1), -1);
  EXPECT_EQ(console.lines().back(), "<T1> ERR:Setting rs485 gpio[4294967295] value[1] failure!");
}

TEST_F(Rs485DirectionTest, WithoutADescriptorThePinCannotBeDriven) {
  EXPECT_EQ(rs485_ctl(-1, 38, 1), -1);
  EXPECT_EQ(console.lines().back(), "<T1> ERR:Setting rs485 gpio[38] value[1] failure!");
  EXPECT_EQ(board->general_io.level(38), 0);
}

TEST_F(Rs485DirectionTest, AFailedRequestIsNotTriedAgain) {
  board.fault("ioctl /dev/qznio 0x4004680e #1");
  EXPECT_EQ(rs485_ctl(fd, 38, 1), -1);
  EXPECT_EQ(board.hardware_trace().size(), 1U);
  EXPECT_EQ(board.now(), boardsim::Time(0));
}

}  // namespace
