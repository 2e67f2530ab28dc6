// Making a terminal the system console. Nodes of the simulated board stand for the terminal: a real one would
// take the PC's own console.
#include "t1_sdk/boardtest/platform/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/open_node.h"

namespace {

using Lines = std::vector<std::string>;

class SystemConsoleTest : public OnBoard {
 protected:
  Console console;
};

TEST_F(SystemConsoleTest, ATerminalBecomesTheConsoleInSilence) {
  board.fault("ioctl /dev/qznio 0x0000541d result 0");
  EXPECT_EQ(setconsole("/dev/qznio"), 0);
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/qznio = ok", "ioctl /dev/qznio 0x0000541d {} = 0", "close /dev/qznio = 0"}));
}

TEST_F(SystemConsoleTest, ATerminalThatCannotBeOpenedIsNamed) {
  board.fault("open /dev/qznio ENXIO");
  EXPECT_EQ(setconsole("/dev/qznio"), 0);
  EXPECT_EQ(console.out(), "open device[/dev/qznio] failed.\n");
  EXPECT_EQ(board.hardware_trace(), (Lines{"open /dev/qznio = -1 ENXIO"}));
}

TEST_F(SystemConsoleTest, ATerminalThatRefusesIsNamedWithTheReason) {
  board.fault("ioctl /dev/qznio 0x0000541d EPERM");
  EXPECT_EQ(setconsole("/dev/qznio"), 0);
  EXPECT_EQ(console.out(), "TIOCCONS[/dev/qznio]: failed,Operation not permitted\n");
  ASSERT_EQ(board.hardware_trace().size(), 3U);
  EXPECT_EQ(board.trace().at(1).request, 0x541DU);
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/qznio = 0");
}

TEST_F(SystemConsoleTest, ATerminalThatReturnsAPositiveNumberCountsAsRefused) {
  board.fault("ioctl /dev/qznio 0x541d result 5");
  EXPECT_EQ(setconsole("/dev/qznio"), 0);
  EXPECT_THAT(console.out(), testing::StartsWith("TIOCCONS[/dev/qznio]: failed,"));
  EXPECT_EQ(board.hardware_trace().back(), "close /dev/qznio = 0");
}

TEST_F(SystemConsoleTest, DescriptorZeroCountsAsNotOpen) {
  const FreeDescriptorZero zero;
  EXPECT_EQ(setconsole("/dev/qznio"), 0);
  EXPECT_EQ(console.out(), "open device[/dev/qznio] failed.\n");
  for (const boardsim::Call& call : board.trace()) EXPECT_NE(call.name, "ioctl");
}

}  // namespace
