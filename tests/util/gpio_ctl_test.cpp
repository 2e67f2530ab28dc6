// GPIO lines, the IR-cut filter and the RS485 transceiver through the 'h' requests of the general I/O driver.
#include "t1_sdk/util/gpio_ctl.h"

#include <gtest/gtest.h>
#include <cstddef>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "t1_sdk/util/rs485_direction.h"
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

// ---- reading a level ----------------------------------------------------------------------------------

TEST_F(GpioCtlTest, TheLevelOfALineIsRead) {
  int value = 7;
  for (const int level : {1, 0}) {
    board->general_io.set_level(29, level);
    EXPECT_EQ(gpio_get_value(fd, 29, &value), 0);
    EXPECT_EQ(value, level);
  }
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(), Lines(2, "ioctl /dev/qznio 0x8004680b {29, -1} = 0"));
}

TEST_F(GpioCtlTest, AReadThatFailsOrHasNoPlaceForTheLevelIsSaid) {
  EXPECT_EQ(gpio_get_value(fd, 29, nullptr), -1);
  EXPECT_EQ(board.hardware_trace(), Lines{});
  board.fault("ioctl /dev/qznio 0x8004680b");
  int value = 7;
  EXPECT_EQ(gpio_get_value(fd, 29, &value), -1);
  EXPECT_EQ(value, 7);
  EXPECT_EQ(console.out(), "<T1> DBG:The parameter is NULL\n<T1> DBG:get gpio 29 failure!\n");
}

TEST_F(GpioCtlTest, AReadWithAPositiveResultIsNoFailure) {
  board.fault("ioctl /dev/qznio 0x8004680b result 5");
  int value = 7;
  EXPECT_EQ(gpio_get_value(fd, 29, &value), 0);
  EXPECT_EQ(value, -1) << "the level that went in comes back";
  EXPECT_EQ(console.out(), "");
}

// ---- directions ---------------------------------------------------------------------------------------

TEST_F(GpioCtlTest, ALineBecomesAnInputWithTheCallersRecordAsItIs) {
  gpio_ctl line = {28, -5};
  EXPECT_EQ(gpio_set_dir_input(fd, &line), 0);
  EXPECT_EQ(board->general_io.direction(28), Direction::input);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/qznio 0x4004680d {28, -5} = 0"}));
}

TEST_F(GpioCtlTest, ALineBecomesAnOutputAtTheLevelOfTheRecord) {
  for (const int level : {1, 0}) {
    gpio_ctl line = {38, level};
    EXPECT_EQ(gpio_set_dir_output(fd, &line), 0);
    EXPECT_EQ(board->general_io.direction(38), Direction::output);
    EXPECT_EQ(board->general_io.level(38), level);
  }
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/qznio 0x4004680e {38, 1} = 0", "ioctl /dev/qznio 0x4004680e {38, 0} = 0"}));
}

TEST_F(GpioCtlTest, ADirectionWithoutARecordFailsBeforeAnyRequest) {
  EXPECT_EQ(gpio_set_dir_input(fd, nullptr), -1);
  EXPECT_EQ(gpio_set_dir_output(fd, nullptr), -1);
  EXPECT_EQ(console.out(), "<T1> DBG:The parameter is NULL\n<T1> DBG:The parameter is NULL\n");
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(GpioCtlTest, ALineThatDoesNotBecomeAnOutputIsSaidToFailAsAnInput) {
  for (const std::string how : {"", " result 5"}) {
    console.clear();
    board.clear_faults();
    board.clear_trace();
    for (const char* request : {"0x4004680d", "0x4004680e"}) {
      board.fault("ioctl /dev/qznio " + (request + how));
    }
    gpio_ctl line = {38, 1};
    EXPECT_EQ(gpio_set_dir_input(fd, &line), -1);
    EXPECT_EQ(gpio_set_dir_output(fd, &line), -1);
    const std::string failure = "<T1> DBG:set gpio pin 38 's direction to input failure!\n";
    EXPECT_EQ(console.out(), failure + failure);
    EXPECT_EQ(board.hardware_trace().size(), 2U) << "none is tried again";
  }
}

// ---- the filter ---------------------------------------------------------------------------------------

TEST_F(GpioCtlTest, TheFilterIsDrivenTowardsDayAndNightByTheStepsInTheArgumentItself) {
  for (const unsigned steps : {120U, 0U}) {
    EXPECT_EQ(day_icr(fd, steps), 0);
    EXPECT_EQ(night_icr(fd, steps), 0);
  }
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"ioctl /dev/qznio 0x40046831 {120} = 0", "ioctl /dev/qznio 0x40046832 {120} = 0",
                   "ioctl /dev/qznio 0x40046831 {0} = 0", "ioctl /dev/qznio 0x40046832 {0} = 0"}));
}

TEST_F(GpioCtlTest, AFilterThatDoesNotTurnIsSaid) {
  for (const std::string how : {"", " result 5"}) {
    console.clear();
    board.clear_faults();
    board.clear_trace();
    for (const char* request : {"0x40046831", "0x40046832"}) {
      board.fault("ioctl /dev/qznio " + (request + how));
    }
    EXPECT_EQ(day_icr(fd, 120), -1);
    EXPECT_EQ(night_icr(fd, 120), -1);
    EXPECT_EQ(console.out(), "<T1> DBG:day ICR failed!\n<T1> DBG:night ICR failed!\n");
    EXPECT_EQ(board.hardware_trace().size(), 2U) << "none is tried again";
  }
}

// ---- the direction of an RS485 transceiver --------------------------------------------------------------

TEST_F(GpioCtlTest, SendingDrivesThePinOfTheTransceiverHighAndReceivingLow) {
  for (const unsigned enable : {1U, 255U, 256U, 0x80000000U, 0xFFFFFFFFU, 0U}) {
    board.clear_trace();
    EXPECT_EQ(rs485_ctl(fd, 38, enable), 0);
    EXPECT_EQ(board.hardware_trace(), (Lines{std::string("ioctl /dev/qznio 0x4004680e {38, ") +
                                             (enable != 0 ? "1} = 0" : "0} = 0")}));
  }
  EXPECT_EQ(rs485_ctl(fd, 7, 1), 0);
  EXPECT_EQ(board->general_io.level(7), 1) << "the pin is the caller's choice";
  EXPECT_EQ(console.out(), "");
}

TEST_F(GpioCtlTest, ATransceiverThatCannotBeDrivenIsNamedWithItsLevelAndWithoutASign) {
  for (const char* fault : {"ioctl /dev/qznio 0x4004680e", "ioctl /dev/qznio 0x4004680e result 5"}) {
    console.clear();
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(rs485_ctl(fd, 38, 5), -1);
    EXPECT_EQ(rs485_ctl(fd, 4294967295U, 0), -1);
    EXPECT_EQ(console.lines(), (Lines{"<T1> DBG:set gpio pin 38 's direction to input failure!",
                                      "<T1> ERR:Setting rs485 gpio[38] value[1] failure!",
                                      "<T1> DBG:set gpio pin -1 's direction to input failure!",
                                      "<T1> ERR:Setting rs485 gpio[4294967295] value[0] failure!"}));
  }
}

}  // namespace
