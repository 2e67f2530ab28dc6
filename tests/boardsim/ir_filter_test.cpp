// What moves the IR-cut filter: electromagnet, shell commands, and the stepped motor with its home switch.
#include "boardsim/devices/ir_filter.h"

#include <gtest/gtest.h>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include "boardsim/board.h"
#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;
using Side = IrFilter::Side;

class IrFilterTest : public testing::Test {
 protected:
  void forward(int steps) {
    for (int i = 0; i < steps; ++i) {
      filter_.drive(113, 1);
      filter_.drive(111, 0);
      filter_.drive(113, 0);
      filter_.drive(111, 1);
    }
  }
  void back(int steps) {
    for (int i = 0; i < steps; ++i) {
      filter_.drive(111, 0);
      filter_.drive(113, 1);
      filter_.drive(111, 1);
      filter_.drive(113, 0);
    }
  }

  IrFilter filter_;
};

TEST_F(IrFilterTest, TheElectromagnetMovesItWhileItIsEnabled) {
  EXPECT_EQ(filter_.side(), Side::unset);
  filter_.drive(86, 1);
  EXPECT_EQ(filter_.side(), Side::unset);
  filter_.drive(87, 1);
  EXPECT_EQ(filter_.side(), Side::day);
  filter_.drive(87, 0);
  filter_.drive(86, 0);
  filter_.drive(88, 1);
  EXPECT_EQ(filter_.side(), Side::day);
  filter_.drive(87, 1);
  EXPECT_EQ(filter_.side(), Side::night);
}

TEST_F(IrFilterTest, TwoCoilsThatPullAgainstEachOtherMoveNothing) {
  filter_.drive(87, 1);
  filter_.drive(88, 1);
  filter_.drive(86, 1);
  filter_.drive(87, 1);
  EXPECT_EQ(filter_.side(), Side::night);
  filter_.drive(88, 0);
  EXPECT_EQ(filter_.side(), Side::day);
}

TEST_F(IrFilterTest, TheStepperStandsAtHomeAfterSwitchingOn) {
  EXPECT_EQ(filter_.position(), 0);
  EXPECT_TRUE(filter_.home_switch());
}

TEST_F(IrFilterTest, AStepIsFourQuartersEitherWay) {
  filter_.drive(110, 1);
  forward(1);
  const int begun = filter_.position();  // the first step only takes hold of the rotor
  forward(9);
  EXPECT_EQ(filter_.position(), begun + 36);
  EXPECT_FALSE(filter_.home_switch());
  back(5);
  EXPECT_EQ(filter_.position(), begun + 16);
}

TEST_F(IrFilterTest, StopsAtBothEndsHoldTheStepper) {
  filter_.drive(110, 1);
  forward(175);
  EXPECT_EQ(filter_.position(), 160 * 4);
  back(159);
  EXPECT_EQ(filter_.position(), 4);
  EXPECT_FALSE(filter_.home_switch());
  back(1);
  EXPECT_TRUE(filter_.home_switch());
  back(3);
  EXPECT_EQ(filter_.position(), 0);
}

TEST_F(IrFilterTest, CoilsThatAreNotEnabledMoveNothing) {
  forward(10);
  EXPECT_EQ(filter_.position(), 0);
}

TEST_F(IrFilterTest, AHomeSwitchThatNeverClosesReadsOpenAtHome) {
  EXPECT_TRUE(lay(filter_, "home switch never"));
  EXPECT_FALSE(filter_.home_switch());
  filter_.clear_faults();
  EXPECT_TRUE(filter_.home_switch());
  EXPECT_FALSE(lay(filter_, "gpio 26 stuck high"));
  EXPECT_THROW(lay(filter_, "home switch always"), std::invalid_argument);
}

// ---- on a board
// -----------------------------------------------------------------------------------------------

TEST(IrFilterOnABoardTest, TheHomeSwitchIsReadOnLine26Of65xxBoardsOnly) {
  {
    Board board("65xx");
    EXPECT_EQ(board->general_io.level(26), 1);
    board.fault("home switch never");
    EXPECT_EQ(board->general_io.level(26), 0);
  }
  Board other("normal");
  EXPECT_EQ(other->general_io.level(26), 0);
}

TEST(IrFilterOnABoardTest, ItsShellCommandsAreAnsweredAndRecorded) {
  Board board("63xx");
  EXPECT_EQ(std::system("nightICR"), 0);
  EXPECT_EQ(board->ir_filter.side(), Side::night);
  EXPECT_EQ(std::system("dayICR"), 0);
  EXPECT_EQ(board->ir_filter.side(), Side::day);
  EXPECT_EQ(board.hardware_trace(), (std::vector<std::string>{"system nightICR = 0", "system dayICR = 0"}));
  EXPECT_EQ(board.violations(), std::vector<std::string>{});
}

TEST(IrFilterOnABoardTest, AShellCommandCanBeMadeToFail) {
  Board board("63xx");
  board.fault("system #2 EAGAIN");
  EXPECT_EQ(std::system("dayICR"), 0);
  errno = 0;
  EXPECT_EQ(std::system("nightICR"), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(board->ir_filter.side(), Side::day);
  EXPECT_EQ(board.hardware_trace().back(), "system nightICR = -1 EAGAIN");
}

TEST(IrFilterOnABoardTest, AnyOtherShellCommandIsRefused) {
  Board board("63xx");
  for (const char* command : {"true", "dayICR; true", "", " dayICR"}) {
    EXPECT_EQ(std::system(command), -1) << command;
  }
  EXPECT_EQ(board.violations().size(), 4U);
  EXPECT_EQ(board->ir_filter.side(), Side::unset);
}

}  // namespace
