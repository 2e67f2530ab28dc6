// The focus motor and its limit switch.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using Lines = std::vector<std::string>;

constexpr unsigned long kToLimit = 0x40044201;
constexpr unsigned long kFromLimit = 0x40044202;
constexpr unsigned kSwitchLine = 7;

class FocusMotorTest : public testing::Test {
 protected:
  ~FocusMotorTest() override { close(fd_); }

  int step(unsigned long request) { return ioctl(fd_, request, 10); }
  void step(unsigned long request, int times) {
    for (int i = 0; i < times; ++i) EXPECT_EQ(step(request), 0);
  }
  /// The switch as a program reads it.
  std::uint32_t limit_switch() {
    std::uint32_t record[2] = {kSwitchLine, 9};
    const int io = open("/dev/qznio", O_RDWR);
    EXPECT_EQ(ioctl(io, 0x80044703, record), 0);
    close(io);
    return record[1];
  }

  Board board_;
  int fd_ = open("/dev/motor", O_RDWR);
};

TEST_F(FocusMotorTest, ItStands40StepsFromItsLimitAfterSwitchingOn) {
  EXPECT_EQ(board_->motor.focus().position(), 40);
  EXPECT_EQ(limit_switch(), 0U);
}

TEST_F(FocusMotorTest, ItStepsWithoutConfiguration) {
  EXPECT_EQ(step(kFromLimit), 0);
  EXPECT_EQ(board_->motor.focus().position(), 41);
  EXPECT_EQ(step(kToLimit), 0);
  EXPECT_EQ(board_->motor.focus().position(), 40);
}

TEST_F(FocusMotorTest, TheSwitchIsClosedAtTheLimitOnly) {
  step(kToLimit, 39);
  EXPECT_EQ(limit_switch(), 0U);
  step(kToLimit, 1);
  EXPECT_EQ(limit_switch(), 1U);
  EXPECT_EQ(board_->general_io.level(kSwitchLine), 1);
  step(kFromLimit, 1);
  EXPECT_EQ(limit_switch(), 0U);
}

TEST_F(FocusMotorTest, TheLimitHoldsIt) {
  step(kToLimit, 100);
  EXPECT_EQ(board_->motor.focus().position(), 0);
  step(kFromLimit, 1);
  EXPECT_EQ(board_->motor.focus().position(), 1);
}

TEST_F(FocusMotorTest, AnotherStepLengthIsRefused) {
  for (const int length : {0, 9, 11, -10}) {
    EXPECT_EQ(ioctl(fd_, kFromLimit, length), -1) << length;
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_EQ(board_->motor.focus().position(), 40);
}

TEST_F(FocusMotorTest, ATestPutsItAnywhere) {
  board_->motor.focus().set_position(1500);
  EXPECT_EQ(board_->motor.focus().position(), 1500);
  board_->motor.focus().set_position(-3);
  EXPECT_EQ(board_->motor.focus().position(), 0);
  EXPECT_EQ(limit_switch(), 1U);
}

TEST_F(FocusMotorTest, AStuckMotorTakesItsStepsAndStandsStill) {
  board_.fault("focus motor stuck");
  step(kToLimit, 100);
  EXPECT_EQ(board_->motor.focus().position(), 40);
  board_.clear_faults();
  step(kToLimit, 1);
  EXPECT_EQ(board_->motor.focus().position(), 39);
}

TEST_F(FocusMotorTest, ASwitchThatNeverClosesReads0AtTheLimit) {
  board_.fault("limit switch never");
  board_->motor.focus().set_position(0);
  EXPECT_EQ(limit_switch(), 0U);
  board_.clear_faults();
  EXPECT_EQ(limit_switch(), 1U);
}

TEST_F(FocusMotorTest, ASwitchThatIsAlwaysClosedReads1Anywhere) {
  board_.fault("limit switch always");
  EXPECT_EQ(limit_switch(), 1U);
  step(kFromLimit, 80);
  EXPECT_EQ(limit_switch(), 1U);
  EXPECT_EQ(board_->motor.focus().position(), 120);
}

TEST_F(FocusMotorTest, OneRejectedStepFailsAndMovesNothing) {
  board_.fault("focus motor rejects step 2");
  EXPECT_EQ(step(kToLimit), 0);
  EXPECT_EQ(step(kToLimit), -1);
  EXPECT_EQ(errno, EIO);
  EXPECT_EQ(step(kToLimit), 0);
  EXPECT_EQ(board_->motor.focus().position(), 38);
}

TEST_F(FocusMotorTest, FromARejectedStepOnAllCanFail) {
  board_.fault("focus motor rejects step 2+");
  EXPECT_EQ(step(kToLimit), 0);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(step(kToLimit), -1);
  board_.clear_faults();
  EXPECT_EQ(step(kToLimit), 0);
}

TEST_F(FocusMotorTest, ItsStepsStandInTheTrace) {
  step(kFromLimit);
  EXPECT_EQ(board_.hardware_trace(), (Lines{"open /dev/motor = ok", "ioctl /dev/motor 0x40044202 {10} = 0"}));
}

TEST_F(FocusMotorTest, AFaultThatItDoesNotKnowIsRefused) {
  for (const char* text : {"limit switch", "limit switch maybe", "focus motor", "focus motor hot",
                           "focus motor rejects step 0", "focus motor rejects step"}) {
    EXPECT_THROW(board_.fault(text), std::invalid_argument) << text;
  }
}

}  // namespace
