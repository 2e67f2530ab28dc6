// The coprocessor's requests.
#include "boardsim/devices/stm8.h"

#include <gtest/gtest.h>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

TEST(Stm8Test, ARegisterThatIsWrittenCanBeReadBack) {
  Stm8 stm8;
  EXPECT_EQ(send(stm8, 0x40045402, {0x43, 6}), 0);
  EXPECT_EQ(exchange(stm8, 0x80045401, {0x43, 0}), (Words{0x43, 6}));
  EXPECT_EQ(stm8.reg(0x43), 6U);
}

TEST(Stm8Test, TheTraceShowsOnlyTheAddressOfARead) {
  Stm8 stm8;
  EXPECT_EQ(traced(stm8, 0x40045402, {4, 1}), (Words{4, 1}));
  EXPECT_EQ(traced(stm8, 0x80045401, {4}), (Words{4}));
}

TEST(Stm8Test, AnotherRequestIsUnknown) {
  Stm8 stm8;
  Words record{1, 2};
  EXPECT_FALSE(stm8.ioctl(0x40044603, record.data()).known);
}

TEST(Stm8Test, ItsRegistersCanBeStuck) {
  Stm8 stm8;
  EXPECT_TRUE(lay(stm8, "stm8 0x43 stuck 0"));
  EXPECT_EQ(exchange(stm8, 0x80045401, {0x43, 5}), (Words{0x43, 0}));
}

}  // namespace
