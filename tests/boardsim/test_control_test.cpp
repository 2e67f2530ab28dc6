// The switch of I/O test control.
#include "boardsim/devices/test_control.h"

#include <gtest/gtest.h>
#include <cerrno>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

constexpr std::uint32_t kSwitch = 0x888B;

class TestControlTest : public testing::Test {
 protected:
  TestControl control_;
};

TEST_F(TestControlTest, ItIsOffUntilTheProgramSwitchesItOn) {
  EXPECT_FALSE(control_.is_on());
  EXPECT_EQ(send(control_, kSwitch, {1}), 0);
  EXPECT_TRUE(control_.is_on());
  EXPECT_EQ(send(control_, kSwitch, {0}), 0);
  EXPECT_FALSE(control_.is_on());
}

TEST_F(TestControlTest, WhoeverWatchesIsToldOfEverySwitchingOn) {
  int calls = 0;
  control_.on_switched_on([&calls] { ++calls; });
  send(control_, kSwitch, {1});
  send(control_, kSwitch, {1});
  send(control_, kSwitch, {0});
  EXPECT_EQ(calls, 2);
}

TEST_F(TestControlTest, TheTraceShowsTheSwitch) {
  EXPECT_EQ(traced(control_, kSwitch, {1}), Words{1});
}

TEST_F(TestControlTest, ANullPointerAndOtherRequestsAreNotTaken) {
  EXPECT_EQ(outcome(control_.ioctl(kSwitch, nullptr)), -EFAULT);
  EXPECT_EQ(control_.words_in(kSwitch, nullptr), Words{});
  Words record{1};
  EXPECT_FALSE(control_.ioctl(0x888A, record.data()).known);
  EXPECT_EQ(traced(control_, 0x888A, record), Words{});
  EXPECT_FALSE(control_.is_on());
}

}  // namespace
