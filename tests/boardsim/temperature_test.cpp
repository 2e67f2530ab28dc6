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
  // The text that one read of up to `size` bytes gives, from `position` on.
  std::string text(const std::string& path, std::size_t size = 32, off64_t position = 0) {
    Sensor* const sensor = sensors_.find(path);
    if (sensor == nullptr) return "no such file";
    std::array<char, 64> buffer{};
    const Answer answer = sensor->read(buffer.data(), size, position);
    return answer.error != 0 ? "error " + std::to_string(answer.error)
                             : std::string(buffer.data(), static_cast<std::size_t>(answer.result));
  }

  TemperatureSensors sensors_;
};

TEST_F(TemperatureTest, AHealthyBoardHasOneSensorAt45Point5Degrees) {
  EXPECT_EQ(text("/proc/debug/temp1"), "45500\n");
  EXPECT_EQ(sensors_.find("/proc/debug/temp2"), nullptr);
}

TEST_F(TemperatureTest, ASensorIsARegularFileThatIsOnlyRead) {
  Sensor* const sensor = sensors_.find("/proc/debug/temp1");
  ASSERT_NE(sensor, nullptr);
  EXPECT_TRUE(S_ISREG(sensor->mode()));
  EXPECT_EQ(outcome(sensor->open(O_RDONLY | O_CLOEXEC)), 0);
  EXPECT_EQ(outcome(sensor->open(O_RDWR)), -EACCES);
  EXPECT_EQ(outcome(sensor->open(O_WRONLY)), -EACCES);
}

TEST_F(TemperatureTest, AReadGoesOnAtItsPositionUntilTheEnd) {
  Sensor* const sensor = sensors_.find("/proc/debug/temp1");
  ASSERT_NE(sensor, nullptr);
  off64_t position = 0;
  std::array<char, 8> buffer{};
  EXPECT_EQ(outcome(sensor->read(buffer.data(), 4, position)), 4);
  EXPECT_EQ(position, 4);
  EXPECT_EQ(outcome(sensor->read(buffer.data(), 4, position)), 2);
  EXPECT_EQ(std::string(buffer.data(), 4), "0\n50") << "only the bytes that were read are replaced";
  EXPECT_EQ(outcome(sensor->read(buffer.data(), 4, position)), 0);
  EXPECT_EQ(text("/proc/debug/temp1", 32, 1000), "");
}

TEST_F(TemperatureTest, AReadWithoutBufferFails) {
  off64_t position = 0;
  EXPECT_EQ(outcome(sensors_.find("/proc/debug/temp1")->read(nullptr, 4, position)), -EFAULT);
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
  sensors_.remove_all();
  EXPECT_EQ(sensors_.find("/proc/debug/temp1"), nullptr);
  sensors_.clear_faults();
  EXPECT_EQ(sensors_.find("/proc/debug/temp1"), nullptr);
}

TEST_F(TemperatureTest, SensorsThatFailComeBackWhenTheFaultIsTakenAway) {
  sensors_.set_content(2, "30000\n");
  EXPECT_TRUE(lay(sensors_, "sensors none"));
  EXPECT_EQ(sensors_.find("/proc/debug/temp1"), nullptr);
  EXPECT_EQ(sensors_.find("/proc/debug/temp2"), nullptr);
  sensors_.clear_faults();
  EXPECT_EQ(text("/proc/debug/temp1"), "45500\n");
  EXPECT_EQ(text("/proc/debug/temp2"), "30000\n");
}

TEST_F(TemperatureTest, OneSensorCanBeMissing) {
  sensors_.set_content(2, "30000\n");
  EXPECT_TRUE(lay(sensors_, "sensor 1 none"));
  EXPECT_EQ(sensors_.find("/proc/debug/temp1"), nullptr);
  EXPECT_EQ(text("/proc/debug/temp2"), "30000\n");
}

TEST_F(TemperatureTest, ASensorGivesTheTextOfItsFaultWithALineEnd) {
  EXPECT_TRUE(lay(sensors_, "sensors none"));
  EXPECT_TRUE(lay(sensors_, "sensor 2 text not a number"));
  EXPECT_TRUE(lay(sensors_, "sensor 3 text"));
  EXPECT_EQ(text("/proc/debug/temp1"), "no such file");
  EXPECT_EQ(text("/proc/debug/temp2"), "not a number\n");
  EXPECT_EQ(text("/proc/debug/temp3"), "\n");
  sensors_.clear_faults();
  EXPECT_EQ(text("/proc/debug/temp2"), "no such file");
}

TEST_F(TemperatureTest, ADirectoryCanStandInASensorsPlace) {
  EXPECT_TRUE(lay(sensors_, "sensor 1 directory"));
  Sensor* const sensor = sensors_.find("/proc/debug/temp1");
  ASSERT_NE(sensor, nullptr);
  EXPECT_TRUE(S_ISDIR(sensor->mode()));
  EXPECT_EQ(outcome(sensor->open(O_RDONLY)), 0);
  EXPECT_EQ(outcome(sensor->open(O_RDWR)), -EISDIR);
  EXPECT_EQ(text("/proc/debug/temp1"), "error " + std::to_string(EISDIR));
}

TEST_F(TemperatureTest, AnUnreadableSensorOpensButItsReadsFail) {
  EXPECT_TRUE(lay(sensors_, "sensor 1 unreadable"));
  Sensor* const sensor = sensors_.find("/proc/debug/temp1");
  ASSERT_NE(sensor, nullptr);
  EXPECT_TRUE(S_ISREG(sensor->mode()));
  EXPECT_EQ(outcome(sensor->open(O_RDONLY)), 0);
  EXPECT_EQ(text("/proc/debug/temp1"), "error " + std::to_string(EIO));
}

TEST_F(TemperatureTest, ASensorThatGoesAwayCannotBeOpenedAnyMore) {
  Sensor* const sensor = sensors_.find("/proc/debug/temp1");
  ASSERT_NE(sensor, nullptr);
  sensors_.remove_all();
  EXPECT_EQ(outcome(sensor->open(O_RDONLY)), -ENOENT);
  EXPECT_EQ(sensor->mode(), 0U);
}

TEST_F(TemperatureTest, ASensorKnowsNoRequests) {
  Words record{0};
  Sensor* const sensor = sensors_.find("/proc/debug/temp1");
  ASSERT_NE(sensor, nullptr);
  EXPECT_FALSE(sensor->ioctl(0x80044801, record.data()).known);
  EXPECT_EQ(traced(*sensor, 0x80044801, record), Words{});
}

TEST_F(TemperatureTest, ASensorFaultThatMakesNoSenseIsRefused) {
  for (const char* text :
       {"sensors", "sensors all", "sensors none now", "sensor", "sensor 1", "sensor 1 broken",
        "sensor 1 none now", "sensor 1 directory now", "sensor x none", "sensor 4000000000 none"}) {
    EXPECT_THROW(lay(sensors_, text), std::invalid_argument) << text;
  }
  EXPECT_FALSE(lay(sensors_, "rtc stopped"));
  EXPECT_FALSE(lay_fault(sensors_.fault_forms(), {}));
  EXPECT_EQ(text("/proc/debug/temp1"), "45500\n");
}

}  // namespace
