// GPIO lines through the 'G' requests of the general I/O driver.
#include "t1_sdk/boardtest/platform/gpio.h"

#include <gtest/gtest.h>
#include <cstddef>
#include <string>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/open_node.h"

namespace {

using Lines = std::vector<std::string>;
using boardsim::Direction;

// Taken before any test runs.
const int kDescriptorAtStart = gpiofd;

class GpioTest : public OnBoard {
 protected:
  void TearDown() override {
    EXPECT_EQ(console.out(), "") << "these functions print nothing";
    EXPECT_EQ(console.err(), "");
    node.reset();
    OnBoard::TearDown();
  }

  std::optional<OpenNode> node{std::in_place, board, "/dev/qznio"};
  int fd = node->fd();
  Console console;
};

TEST_F(GpioTest, NoAlarmTestHoldsTheDriverAtStart) {
  EXPECT_EQ(kDescriptorAtStart, -1);
}

TEST_F(GpioTest, TheRecordIsAPinAndALevelOf32BitsEach) {
  static_assert(sizeof(gpio_ctrl) == 8);
  static_assert(offsetof(gpio_ctrl, gpio) == 0 && offsetof(gpio_ctrl, param) == 4);
}

TEST_F(GpioTest, ALineBecomesAnInputOrAnOutputThatStartsHighOrLow) {
  EXPECT_EQ(gpio_direction_input(fd, 28), 0);
  EXPECT_EQ(board->general_io.direction(28), Direction::input);
  for (const int level : {1, 0}) {
    EXPECT_EQ(gpio_direction_output(fd, 30, level), 0);
    EXPECT_EQ(board->general_io.direction(30), Direction::output);
    EXPECT_EQ(board->general_io.level(30), level);
  }
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/qznio 0x40044701 {28} = 0", "ioctl /dev/qznio 0x40044702 {30, 1} = 0",
                   "ioctl /dev/qznio 0x40044702 {30, 0} = 0"}));
}

TEST_F(GpioTest, TheLevelOfALineIsRead) {
  for (const int level : {1, 0}) {
    board->general_io.set_level(28, level);
    EXPECT_EQ(gpio_get_value(fd, 28), level);
  }
  EXPECT_EQ(board.hardware_trace(), Lines(2, "ioctl /dev/qznio 0x80044703 {28, 0} = 0"));
}

TEST_F(GpioTest, ALineIsDriven) {
  gpio_direction_output(fd, 30, 0);
  board.clear_trace();
  for (const int level : {1, 0}) {
    EXPECT_EQ(gpio_set_value(fd, 30, level), 0);
    EXPECT_EQ(board->general_io.level(30), level);
  }
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/qznio 0x40044704 {30, 1} = 0", "ioctl /dev/qznio 0x40044704 {30, 0} = 0"}));
}

TEST_F(GpioTest, AFailedRequestIsHandedBackAsItIsAndNoReadThatFailedPassesForAHighLevel) {
  board->general_io.set_level(28, 1);
  board.fault("ioctl /dev/qznio");
  EXPECT_EQ(gpio_direction_input(fd, 28), -1);
  EXPECT_EQ(gpio_direction_output(fd, 28, 1), -1);
  EXPECT_EQ(gpio_get_value(fd, 28), -1);
  EXPECT_EQ(gpio_set_value(fd, 28, 1), -1);
  EXPECT_EQ(board.hardware_trace().size(), 4U) << "none is tried again";
}

TEST_F(GpioTest, APositiveResultIsHandedBackAsItIsButForThatOfARead) {
  board->general_io.set_level(28, 1);
  board.fault("ioctl /dev/qznio result 5");
  EXPECT_EQ(gpio_direction_input(fd, 28), 5);
  EXPECT_EQ(gpio_direction_output(fd, 28, 1), 5);
  EXPECT_EQ(gpio_set_value(fd, 28, 1), 5);
  EXPECT_EQ(gpio_get_value(fd, 28), 0) << "the level of the record, which the driver left as it was";
}

}  // namespace
