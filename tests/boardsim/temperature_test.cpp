// The sensor files and what can stand in their place.
#include "boardsim/devices/temperature.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <string>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

class TemperatureTest : public testing::Test {
 protected:
  // What one read of up to 32 bytes gives from `position` on.
  std::string text(const std::string& path, off64_t position = 0) {
    Sensor* const sensor = sensors_.find(path);
    if (sensor == nullptr) return "no such file";
    std::array<char, 32> buffer{};
    const Answer answer = sensor->read(buffer.data(), buffer.size(), position);
    return std::string(buffer.data(), static_cast<std::size_t>(answer.result));
  }

  TemperatureSensors sensors_;
};

TEST_F(TemperatureTest, AHealthyBoardHasOneSensorAt45Point5DegreesThatIsOnlyRead) {
  EXPECT_EQ(text("/proc/debug/temp1"), "45500\n");
  EXPECT_EQ(text("/proc/debug/temp1", 1000), "");
  EXPECT_EQ(sensors_.find("/proc/debug/temp2"), nullptr);
  Sensor* const sensor = sensors_.find("/proc/debug/temp1");
  EXPECT_TRUE(S_ISREG(sensor->mode()));
  EXPECT_EQ(outcome(sensor->open(O_RDONLY | O_CLOEXEC)), 0);
  EXPECT_EQ(outcome(sensor->open(O_RDWR)), -EACCES);
  EXPECT_EQ(outcome(sensor->open(O_WRONLY)), -EACCES);
  off64_t position = 0;
  EXPECT_EQ(outcome(sensor->read(nullptr, 4, position)), -EFAULT);
  EXPECT_EQ(position, 0);
}

TEST_F(TemperatureTest, OnlyTheVeryNameOfASensorFindsIt) {
  for (const char* path :
       {"/proc/debug", "/proc/debug/", "/proc/debug/temp", "/proc/debug/temp01", "/proc/debug/temp1 ",
        "/proc/debug/temp1x", "/proc/debug/temp+1", "/proc/debug/temp-1", "/proc/debug/temp99999999999",
        "/proc/debug/tempo1", "temp1", ""}) {
    EXPECT_EQ(sensors_.find(path), nullptr) << path;
  }
}

TEST_F(TemperatureTest, AContentIsKeptToTheByte) {
  sensors_.set_content(21, std::string("a\0b", 3));
  EXPECT_EQ(text("/proc/debug/temp21"), std::string("a\0b", 3));
  sensors_.set_content(1, "");
  EXPECT_EQ(text("/proc/debug/temp1"), "");
  EXPECT_THROW(sensors_.set_content(-1, "1"), std::invalid_argument);
}

TEST_F(TemperatureTest, ABoardWhoseSensorsWereTakenOutHasNoneForGood) {
  Sensor* const sensor = sensors_.find("/proc/debug/temp1");
  sensors_.remove_all();
  EXPECT_EQ(outcome(sensor->open(O_RDONLY)), -ENOENT) << "found before it went away";
  EXPECT_EQ(sensor->mode(), 0U);
  sensors_.clear_faults();
  EXPECT_EQ(sensors_.find("/proc/debug/temp1"), nullptr);
}

TEST_F(TemperatureTest, SensorsThatFailComeBackWhenTheFaultIsTakenAway) {
  sensors_.set_content(2, "30000\n");
  EXPECT_TRUE(lay(sensors_, "sensor 1 none"));
  EXPECT_EQ(text("/proc/debug/temp1"), "no such file");
  EXPECT_EQ(text("/proc/debug/temp2"), "30000\n");
  EXPECT_TRUE(lay(sensors_, "sensors none"));
  EXPECT_EQ(text("/proc/debug/temp2"), "no such file");
  sensors_.clear_faults();
  EXPECT_EQ(text("/proc/debug/temp1"), "45500\n");
  EXPECT_EQ(text("/proc/debug/temp2"), "30000\n");
}

TEST_F(TemperatureTest, ASensorGivesTheTextOfItsFaultWithALineEnd) {
  EXPECT_TRUE(lay(sensors_, "sensor 2 text not a number"));
  EXPECT_TRUE(lay(sensors_, "sensor 3 text"));
  EXPECT_EQ(text("/proc/debug/temp2"), "not a number\n");
  EXPECT_EQ(text("/proc/debug/temp3"), "\n");
  sensors_.clear_faults();
  EXPECT_EQ(text("/proc/debug/temp2"), "no such file");
}

}  // namespace
