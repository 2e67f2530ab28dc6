// GPIO lines and the IR-cut filter through the 'h' requests of the general I/O driver.
#include "t1_sdk/util/gpio_ctl.h"

#include <gtest/gtest.h>
#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/open_node.h"

namespace {

using Lines = std::vector<std::string>;
using boardsim::Direction;

class GpioCtlTest : public OnBoard {
 protected:
  void TearDown() override {
    node.reset();
    OnBoard::TearDown();
  }

  std::optional<OpenNode> node{std::in_place, board, "/dev/qznio"};
  int fd = node->fd();
  Console console;
};

TEST_F(GpioCtlTest, TheRecordIsAPinAndASignedLevelOf32BitsEach) {
  static_assert(sizeof(gpio_ctl) == 8);
  static_assert(offsetof(gpio_ctl, gpio) == 0 && offsetof(gpio_ctl, value) == 4);
  static_assert(std::is_unsigned_v<decltype(gpio_ctl::gpio)> && std::is_signed_v<decltype(gpio_ctl::value)>);
}

TEST_F(GpioCtlTest, TheLevelOfALineIsRead) {
  int value = 7;
  board->general_io.set_level(29, 1);
  EXPECT_EQ(gpio_get_value(fd, 29, &value), 0);
  EXPECT_EQ(value, 1);
  board->general_io.set_level(29, 0);
  EXPECT_EQ(gpio_get_value(fd, 29, &value), 0);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/qznio 0x8004680b {29, -1} = 0", "ioctl /dev/qznio 0x8004680b {29, -1} = 0"}));
}

TEST_F(GpioCtlTest, AReadWithoutAPlaceForTheLevelFailsBeforeAnyRequest) {
  EXPECT_EQ(gpio_get_value(fd, 29, nullptr), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:The parameter is NULL\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(GpioCtlTest, AFailedReadNamesThePinAndLeavesTheLevelAlone) {
  board.fault("ioctl /dev/qznio 0x8004680b");
  int value = 7;
  EXPECT_EQ(gpio_get_value(fd, 29, &value), -1);
  EXPECT_EQ(value, 7);
  EXPECT_EQ(console.out(), "<T1> DBG:get gpio 29 failure!\n");
}

TEST_F(GpioCtlTest, ALineBecomesAnInput) {
  gpio_ctl line = {28, 0};
  EXPECT_EQ(gpio_set_dir_input(fd, &line), 0);
  EXPECT_EQ(board->general_io.direction(28), Direction::input);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x4004680d {28, 0} = 0"}));
}

TEST_F(GpioCtlTest, TheCallersRecordGoesInAsItIs) {
  gpio_ctl line = {28, -5};
  EXPECT_EQ(gpio_set_dir_input(fd, &line), 0);
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x4004680d {28, -5} = 0"}));
}

TEST_F(GpioCtlTest, AnInputWithoutARecordFailsBeforeAnyRequest) {
  EXPECT_EQ(gpio_set_dir_input(fd, nullptr), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:The parameter is NULL\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(GpioCtlTest, ALineThatDoesNotBecomeAnInputIsNamed) {
  board.fault("ioctl /dev/qznio 0x4004680d");
  gpio_ctl line = {28, 0};
  EXPECT_EQ(gpio_set_dir_input(fd, &line), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:set gpio pin 28 's direction to input failure!\n");
}

TEST_F(GpioCtlTest, ALineBecomesAnOutputAtTheLevelOfTheRecord) {
  gpio_ctl line = {38, 1};
  EXPECT_EQ(gpio_set_dir_output(fd, &line), 0);
  EXPECT_EQ(board->general_io.direction(38), Direction::output);
  EXPECT_EQ(board->general_io.level(38), 1);
  line.value = 0;
  EXPECT_EQ(gpio_set_dir_output(fd, &line), 0);
  EXPECT_EQ(board->general_io.level(38), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/qznio 0x4004680e {38, 1} = 0", "ioctl /dev/qznio 0x4004680e {38, 0} = 0"}));
}

TEST_F(GpioCtlTest, AnOutputWithoutARecordFailsBeforeAnyRequest) {
  EXPECT_EQ(gpio_set_dir_output(fd, nullptr), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:The parameter is NULL\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(GpioCtlTest, ALineThatDoesNotBecomeAnOutputIsSaidToFailAsAnInput) {
  board.fault("ioctl /dev/qznio 0x4004680e");
  gpio_ctl line = {38, 1};
  EXPECT_EQ(gpio_set_dir_output(fd, &line), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:set gpio pin 38 's direction to input failure!\n");
}

TEST_F(GpioCtlTest, TheFilterIsDrivenTowardsDayByTheStepsInTheArgumentItself) {
  EXPECT_EQ(day_icr(fd, 120), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x40046831 {120} = 0"}));
}

TEST_F(GpioCtlTest, TheFilterIsDrivenTowardsNightByTheStepsInTheArgumentItself) {
  EXPECT_EQ(night_icr(fd, 120), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x40046832 {120} = 0"}));
}

TEST_F(GpioCtlTest, NoStepsAreARequestToo) {
  EXPECT_EQ(day_icr(fd, 0), 0);
  EXPECT_EQ(night_icr(fd, 0), 0);
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/qznio 0x40046831 {0} = 0", "ioctl /dev/qznio 0x40046832 {0} = 0"}));
}

TEST_F(GpioCtlTest, AFilterThatDoesNotTurnToDayIsSaid) {
  board.fault("ioctl /dev/qznio 0x40046831");
  EXPECT_EQ(day_icr(fd, 120), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:day ICR failed!\n");
}

TEST_F(GpioCtlTest, AFilterThatDoesNotTurnToNightIsSaid) {
  board.fault("ioctl /dev/qznio 0x40046832");
  EXPECT_EQ(night_icr(fd, 120), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:night ICR failed!\n");
}

TEST_F(GpioCtlTest, AReadWithAPositiveResultIsNoFailure) {
  board.fault("ioctl /dev/qznio 0x8004680b result 5");
  int value = 7;
  EXPECT_EQ(gpio_get_value(fd, 29, &value), 0);
  EXPECT_EQ(value, -1) << "the level that went in comes back";
  EXPECT_EQ(console.out(), "");
}

TEST_F(GpioCtlTest, ADirectionWithAPositiveResultIsNotSet) {
  board.fault("ioctl /dev/qznio 0x4004680d result 5");
  board.fault("ioctl /dev/qznio 0x4004680e result 5");
  gpio_ctl line = {38, 1};
  EXPECT_EQ(gpio_set_dir_input(fd, &line), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:set gpio pin 38 's direction to input failure!\n");
  console.clear();
  EXPECT_EQ(gpio_set_dir_output(fd, &line), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:set gpio pin 38 's direction to input failure!\n");
}

TEST_F(GpioCtlTest, AFilterWithAPositiveResultDoesNotTurn) {
  board.fault("ioctl /dev/qznio 0x40046831 result 5");
  board.fault("ioctl /dev/qznio 0x40046832 result 5");
  EXPECT_EQ(day_icr(fd, 120), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:day ICR failed!\n");
  console.clear();
  EXPECT_EQ(night_icr(fd, 120), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:night ICR failed!\n");
}

TEST_F(GpioCtlTest, NoFailedRequestIsTriedAgain) {
  board.fault("ioctl /dev/qznio");
  int value = 0;
  gpio_ctl line = {38, 1};
  gpio_get_value(fd, 38, &value);
  gpio_set_dir_input(fd, &line);
  gpio_set_dir_output(fd, &line);
  day_icr(fd, 1);
  night_icr(fd, 1);
  EXPECT_EQ(board.hardware_trace().size(), 5U);
  EXPECT_EQ(board.now(), boardsim::Time(0));
}

}  // namespace
