// What every set of registers has in common, shown on a device made for the purpose.
#include "boardsim/devices/registers.h"

#include <gtest/gtest.h>
#include <cerrno>
#include <stdexcept>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

// clang-format off
constexpr Request kRequests[] = {
    {0x40045001, Request::Argument::record, "{address, value}", 2, "writes a register"},
    {0x80045002, Request::Argument::record, "{address, value}", 1, "reads it into the second word"},
};
// clang-format on

class RegistersTest : public testing::Test {
 protected:
  RegisterDevice device_{"probe", kRequests};
};

TEST_F(RegistersTest, ARegisterHoldsZeroUntilItIsWritten) {
  EXPECT_EQ(device_.reg(0x2002), 0U);
  EXPECT_EQ(exchange(device_, 0x80045002, {0x2002, 7}), (Words{0x2002, 0}));
}

TEST_F(RegistersTest, ARegisterReadsWhatWasWrittenToIt) {
  EXPECT_EQ(send(device_, 0x40045001, {0x2002, 0xFFFFFFFF}), 0);
  EXPECT_EQ(send(device_, 0x40045001, {0xFFFFFFFF, 5}), 0);
  EXPECT_EQ(exchange(device_, 0x80045002, {0x2002, 0}), (Words{0x2002, 0xFFFFFFFF}));
  EXPECT_EQ(device_.reg(0xFFFFFFFF), 5U);
}

TEST_F(RegistersTest, ARegisterThatTheHardwareSetsIsSeenByTheProgram) {
  device_.set_reg(0xB0, 1234);
  EXPECT_EQ(exchange(device_, 0x80045002, {0xB0, 0}), (Words{0xB0, 1234}));
}

TEST_F(RegistersTest, AStuckRegisterReadsItsValueUntilTheFaultIsTakenAway) {
  EXPECT_TRUE(lay(device_, "probe 0xb0 stuck 0x10"));
  EXPECT_EQ(send(device_, 0x40045001, {0xB0, 3}), 0);
  EXPECT_EQ(exchange(device_, 0x80045002, {0xB0, 0}), (Words{0xB0, 16}));
  device_.clear_faults();
  EXPECT_EQ(device_.reg(0xB0), 3U);
}

TEST_F(RegistersTest, ARegisterFaultThatMakesNoSenseIsRefused) {
  for (const char* text :
       {"probe", "probe 1 stuck", "probe 1 loose 2", "probe one stuck 2", "probe 1 stuck two",
        "probe 1 stuck 0x100000000", "probe -1 stuck 2", "probe 1 stuck 2 3"}) {
    EXPECT_THROW(lay(device_, text), std::invalid_argument) << text;
  }
  EXPECT_EQ(device_.reg(1), 0U);
  EXPECT_FALSE(lay(device_, "fpga 1 stuck 2"));
  EXPECT_FALSE(lay_fault(device_.fault_forms(), {}));
}

TEST_F(RegistersTest, ARequestWithoutRecordFails) {
  for (const std::uint32_t request : {0x40045001U, 0x80045002U}) {
    EXPECT_EQ(outcome(device_.ioctl(request, nullptr)), -EFAULT);
    EXPECT_EQ(device_.words_in(request, nullptr), Words{});
  }
}

TEST_F(RegistersTest, TheTraceShowsAsManyWordsOfAReadAsTheCallerSets) {
  EXPECT_EQ(traced(device_, 0x40045001, {4, 1}), (Words{4, 1}));
  EXPECT_EQ(traced(device_, 0x80045002, {4}), (Words{4}));
}

}  // namespace
