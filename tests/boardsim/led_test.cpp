// The diodes.
#include "boardsim/devices/led.h"

#include <gtest/gtest.h>
#include <cerrno>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

TEST(LedTest, EachDiodeKeepsTheStateLastWritten) {
  Led led;
  EXPECT_EQ(led.led(2), 0U);
  EXPECT_EQ(send(led, 0x40044C01, {2, 1}), 0);
  EXPECT_EQ(led.led(2), 1U);
  EXPECT_EQ(led.led(1), 0U);
  EXPECT_EQ(send(led, 0x40044C01, {2, 0}), 0);
  EXPECT_EQ(led.led(2), 0U);
}

TEST(LedTest, TheTraceShowsIndexAndState) {
  Led led;
  EXPECT_EQ(traced(led, 0x40044C01, {2, 1}), (Words{2, 1}));
}

TEST(LedTest, ARequestWithoutRecordFails) {
  Led led;
  EXPECT_EQ(outcome(led.ioctl(0x40044C01, nullptr)), -EFAULT);
  EXPECT_EQ(led.words_in(0x40044C01, nullptr), Words{});
}

TEST(LedTest, AnotherRequestIsUnknown) {
  Led led;
  Words record{2, 1};
  EXPECT_FALSE(led.ioctl(0x40044C02, record.data()).known);
  EXPECT_EQ(traced(led, 0x40044C02, record), Words{});
}

}  // namespace
