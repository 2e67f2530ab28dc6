// The front end behind the timing generator's node.
#include "boardsim/devices/timing_generator.h"

#include <gtest/gtest.h>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

TEST(TimingGeneratorTest, AFrontEndRegisterKeepsWhatIsWritten) {
  TimingGenerator generator;
  EXPECT_EQ(send(generator, 0x40045402, {4, 2}), 0);
  EXPECT_EQ(generator.reg(4), 2U);
  EXPECT_EQ(traced(generator, 0x40045402, {4, 2}), (Words{4, 2}));
}

TEST(TimingGeneratorTest, ItsRegistersCannotBeReadByTheProgram) {
  TimingGenerator generator;
  Words record{4, 0};
  EXPECT_FALSE(generator.ioctl(0x80045401, record.data()).known);
  EXPECT_EQ(traced(generator, 0x80045401, record), Words{});
}

TEST(TimingGeneratorTest, ItsRegistersCanBeStuck) {
  TimingGenerator generator;
  EXPECT_TRUE(lay(generator, "afe 4 stuck 3"));
  send(generator, 0x40045402, {4, 2});
  EXPECT_EQ(generator.reg(4), 3U);
}

}  // namespace
