// The descriptor that closes itself.
#include "t1_sdk/util/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "tests/harness/on_board.h"

namespace {

using namespace boardtest;
using Nodes = std::vector<std::string>;

class DescriptorTest : public OnBoard {
 protected:
  int open_led() { return ::open("/dev/led", O_RDWR); }
};

TEST_F(DescriptorTest, ANodeIsClosedAtTheEndOfItsDescriptor) {
  {
    const Descriptor led(open_led());
    EXPECT_GT(led.get(), 0);
    EXPECT_EQ(board.open_nodes(), Nodes{"/dev/led"});
  }
  EXPECT_EQ(board.open_nodes(), Nodes{});
}

TEST_F(DescriptorTest, ClosingKeepsTheErrorThatWentBefore) {
  board.fault("close /dev/led EIO");
  {
    const Descriptor led(open_led());
    errno = ENOSPC;
  }
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(DescriptorTest, ANodeClosedEarlyIsClosedOnce) {
  {
    Descriptor led(open_led());
    const int number = led.get();
    led.close();
    EXPECT_EQ(board.open_nodes(), Nodes{});
    ASSERT_EQ(open_led(), number) << "the number is free again";
    led.close();
    EXPECT_EQ(board.open_nodes(), Nodes{"/dev/led"}) << "the new owner of the number keeps it";
  }
  expect_open({"/dev/led"});
}

TEST_F(DescriptorTest, ANodeLeftOpenOnPurposeStaysOpen) {
  {
    Descriptor led(open_led());
    const int number = led.get();
    EXPECT_EQ(led.leave_open("the light stays on"), number);
    EXPECT_EQ(led.get(), -1);
  }
  expect_open({"/dev/led"});
}

TEST_F(DescriptorTest, AMovedDescriptorIsClosedByItsNewOwnerOnly) {
  Descriptor first(open_led());
  {
    const Descriptor second(std::move(first));
    EXPECT_EQ(board.open_nodes(), Nodes{"/dev/led"});
  }
  EXPECT_EQ(board.open_nodes(), Nodes{});
  board.clear_trace();
  first.close();
  EXPECT_EQ(board.hardware_trace(), Nodes{});
}

TEST_F(DescriptorTest, AFailedOpenIsNeverClosed) {
  board.fault("open /dev/led");
  {
    const Descriptor led(open_led());
    EXPECT_EQ(led.get(), -1);
  }
  EXPECT_EQ(board.hardware_trace(), Nodes{"open /dev/led = -1 ENODEV"});
}

}  // namespace
