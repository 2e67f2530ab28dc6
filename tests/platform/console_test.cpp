// Making a terminal the system console. Only nodes of the simulated board and /dev/null are used here: a real
// terminal would take the PC's own console.
#include "t1_sdk/boardtest/platform/console.h"

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
  ASSERT_EQ(board.hardware_trace().size(), 3U) << "opened, asked and closed";
  EXPECT_EQ(board.trace().at(1).request, 0x541DU);
}

TEST_F(SystemConsoleTest, ADeviceThatIsNoTerminalIsRefused) {
  EXPECT_EQ(setconsole("/dev/null"), 0);
  EXPECT_EQ(console.out(), "TIOCCONS[/dev/null]: failed,Inappropriate ioctl for device\n");
}

TEST_F(SystemConsoleTest, DescriptorZeroCountsAsNotOpen) {
  const FreeDescriptorZero zero;
  EXPECT_EQ(setconsole("/dev/qznio"), 0);
  EXPECT_EQ(console.out(), "open device[/dev/qznio] failed.\n");
  for (const boardsim::Call& call : board.trace()) EXPECT_NE(call.name, "ioctl");
}

}  // namespace
