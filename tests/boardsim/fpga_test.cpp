// The FPGA's requests.
#include "boardsim/devices/fpga.h"

#include <gtest/gtest.h>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

TEST(FpgaTest, ARegisterThatIsWrittenCanBeReadBack) {
  Fpga fpga;
  EXPECT_EQ(send(fpga, 0x40044603, {0x2002, 0x380038}), 0);
  EXPECT_EQ(exchange(fpga, 0x80044602, {0x2002, 0}), (Words{0x2002, 0x380038}));
  EXPECT_EQ(fpga.reg(0x2002), 0x380038U);
}

TEST(FpgaTest, TheTraceShowsAddressAndValueOfWritesAndReads) {
  Fpga fpga;
  EXPECT_EQ(traced(fpga, 0x40044603, {0x60, 1}), (Words{0x60, 1}));
  EXPECT_EQ(traced(fpga, 0x80044602, {0xB0, 0}), (Words{0xB0, 0}));
}

TEST(FpgaTest, AnotherRequestIsUnknown) {
  Fpga fpga;
  Words record{1, 2};
  EXPECT_FALSE(fpga.ioctl(0x40045402, record.data()).known);
  EXPECT_EQ(traced(fpga, 0x40045402, record), Words{});
}

TEST(FpgaTest, WhoeverWatchesIsToldOfWhatTheProgramWrites) {
  Fpga fpga;
  Words written;
  fpga.on_write([&written](std::uint32_t address, std::uint32_t value) {
    written.insert(written.end(), {address, value});
  });
  send(fpga, 0x40044603, {81, 1});
  exchange(fpga, 0x80044602, {81, 0});
  fpga.set_reg(82, 1);
  EXPECT_EQ(written, (Words{81, 1}));
}

TEST(FpgaTest, ItsRegistersCanBeStuck) {
  Fpga fpga;
  EXPECT_TRUE(lay(fpga, "fpga 0x2004 stuck 0"));
  send(fpga, 0x40044603, {0x2004, 9});
  EXPECT_EQ(fpga.reg(0x2004), 0U);
}

}  // namespace
