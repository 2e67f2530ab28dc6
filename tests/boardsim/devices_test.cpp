// Which device stands at which path, and which of them takes a fault.
#include "boardsim/board/hardware.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <array>
#include <stdexcept>
#include <string>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

class DevicesTest : public testing::Test {
 protected:
  Devices devices_{[] { return Time{0}; }, [](Time, const std::function<void()>&) {},
                   [](const std::string& text) { ADD_FAILURE() << text; }};
};

TEST_F(DevicesTest, EachNodeLeadsToItsDevice) {
  EXPECT_EQ(devices_.find("/dev/qznio"), &devices_.general_io);
  EXPECT_EQ(devices_.find("/dev/fpga"), &devices_.fpga);
  EXPECT_EQ(devices_.find("/dev/tg"), &devices_.timing_generator);
  EXPECT_EQ(devices_.find("/dev/tcs"), &devices_.stm8);
  EXPECT_EQ(devices_.find("/dev/led"), &devices_.led);
  EXPECT_EQ(devices_.find("/dev/rtc"), &devices_.rtc);
  EXPECT_EQ(devices_.find("/dev/mtd4"), &devices_.flash);
  EXPECT_EQ(devices_.find("/dev/mmcblk0p7"), &devices_.emmc);
  EXPECT_EQ(devices_.find("/devinfo/TG.bin"), devices_.files.find("/devinfo/TG.bin"));
  EXPECT_EQ(devices_.find("/proc/debug/temp1"), devices_.sensors.find("/proc/debug/temp1"));
}

TEST_F(DevicesTest, NoDeviceStandsAtAnotherPath) {
  for (const char* path : {"/dev/foo", "/dev/rtc0", "/dev/", "", "/proc/debug/temp2", "/proc/debug"}) {
    EXPECT_EQ(devices_.find(path), nullptr) << path;
  }
}

TEST_F(DevicesTest, NodesAreDevicesAndSensorsAreFiles) {
  EXPECT_TRUE(S_ISCHR(devices_.find("/dev/qznio")->mode()));
  EXPECT_TRUE(S_ISBLK(devices_.find("/dev/mmcblk0p7")->mode()));
  EXPECT_TRUE(S_ISREG(devices_.find("/proc/debug/temp1")->mode()));
  lay(devices_, "sensor 1 directory");
  EXPECT_TRUE(S_ISDIR(devices_.find("/proc/debug/temp1")->mode()));
}

TEST_F(DevicesTest, EachFaultReachesItsDevice) {
  EXPECT_TRUE(lay(devices_, "gpio 26 stuck high"));
  EXPECT_EQ(devices_.general_io.level(26), 1);
  EXPECT_TRUE(lay(devices_, "fpga 1 stuck 11"));
  EXPECT_EQ(devices_.fpga.reg(1), 11U);
  EXPECT_TRUE(lay(devices_, "afe 1 stuck 12"));
  EXPECT_EQ(devices_.timing_generator.reg(1), 12U);
  EXPECT_TRUE(lay(devices_, "stm8 1 stuck 13"));
  EXPECT_EQ(devices_.stm8.reg(1), 13U);
  EXPECT_TRUE(lay(devices_, "rtc seconds 7"));
  EXPECT_EQ(exchange(devices_.rtc, 0x80247009, Words(9))[0], 7U);
  EXPECT_TRUE(lay(devices_, "sensors none"));
  EXPECT_EQ(devices_.find("/proc/debug/temp1"), nullptr);
}

TEST_F(DevicesTest, ABoardIsHealthyAgainWhenItsFaultsAreTakenAway) {
  for (const char* text : {"gpio 26 stuck high", "fpga 1 stuck 11", "afe 1 stuck 12", "stm8 1 stuck 13",
                           "rtc seconds 7", "sensors none"}) {
    lay(devices_, text);
  }
  devices_.clear_faults();
  EXPECT_EQ(devices_.general_io.level(26), 0);
  EXPECT_EQ(devices_.fpga.reg(1), 0U);
  EXPECT_EQ(devices_.timing_generator.reg(1), 0U);
  EXPECT_EQ(devices_.stm8.reg(1), 0U);
  EXPECT_EQ(exchange(devices_.rtc, 0x80247009, Words(9))[0], 12U);
  EXPECT_NE(devices_.find("/proc/debug/temp1"), nullptr);
}

TEST_F(DevicesTest, NoDeviceTakesWordsThatAreNotItsOwn) {
  EXPECT_FALSE(lay(devices_, "led 2 broken"));
  EXPECT_FALSE(lay(devices_, "open /dev/rtc"));
  EXPECT_FALSE(lay_fault(devices_.fault_forms(), {}));
}

TEST_F(DevicesTest, TheRefusalOfAFaultQuotesItAndTellsWhatIsExpected) {
  try {
    lay(devices_, "gpio 26 stuck up");
    FAIL() << "the fault was taken";
  } catch (const std::invalid_argument& refusal) {
    EXPECT_STREQ(
        refusal.what(),
        "fault: \"gpio 26 stuck up\" is not understood: \"up\" can only be high or low; expected gpio "
        "LINE stuck high|low");
  }
}

}  // namespace
