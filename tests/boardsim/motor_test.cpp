// The motor driver of the IR-cut filter.
#include "boardsim/devices/motor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <cerrno>
#include <stdexcept>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;

constexpr std::uint32_t kConfigure = 0x40044301;
constexpr std::uint32_t kMove = 0x40044901;
constexpr std::uint32_t kMoveBack = 0x40044902;

/// 644 bytes: a count, then entries of ten words, of which the sixth is the chip and the seventh its type.
Words configuration() {
  Words words(161);
  words[6] = 7;
  return words;
}

class MotorTest : public testing::Test {
 protected:
  long move(std::uint32_t request, std::uintptr_t travel) {
    return outcome(motor_.ioctl(request, reinterpret_cast<void*>(travel)));
  }
  void configure() { send(motor_, kConfigure, configuration()); }

  Motor motor_;
};

TEST_F(MotorTest, ItMovesOnceItIsConfigured) {
  EXPECT_EQ(send(motor_, kConfigure, configuration()), 0);
  EXPECT_EQ(move(kMove, 90), 0);
  EXPECT_EQ(move(kMoveBack, 180), 0);
  EXPECT_EQ(motor_.moves(), 2U);
  EXPECT_EQ(motor_.travel(), 180U);
  EXPECT_EQ(move(kMove, 0), 0) << "no travel at all is a number too";
  EXPECT_EQ(motor_.travel(), 0U);
}

TEST_F(MotorTest, WithoutConfigurationItDoesNotMove) {
  EXPECT_EQ(move(kMove, 90), -EINVAL);
  EXPECT_EQ(motor_.moves(), 0U);
  configure();
  motor_.open(O_RDWR);
  EXPECT_EQ(move(kMove, 90), -EINVAL) << "each opening is configured anew";
}

TEST_F(MotorTest, ItKnowsOneConfigurationOnly) {
  for (std::size_t i = 0; i < 161; ++i) {
    Words other = configuration();
    ++other[i];
    EXPECT_EQ(send(motor_, kConfigure, other), -EINVAL) << "word " << i;
  }
  EXPECT_EQ(move(kMove, 90), -EINVAL);
  EXPECT_EQ(outcome(motor_.ioctl(kConfigure, nullptr)), -EFAULT);
}

TEST_F(MotorTest, ARejectedMoveFailsAndTheOthersDoNot) {
  configure();
  EXPECT_TRUE(lay(motor_, "motor rejects move 2"));
  EXPECT_EQ(move(kMove, 1), 0);
  EXPECT_EQ(move(kMove, 2), -EIO);
  EXPECT_EQ(motor_.travel(), 1U);
  EXPECT_EQ(move(kMoveBack, 3), 0);
  EXPECT_EQ(motor_.moves(), 2U);
}

TEST_F(MotorTest, SeveralMovesAndAllFromOneOnCanBeRejected) {
  configure();
  lay(motor_, "motor rejects move 1");
  lay(motor_, "motor rejects move 3+");
  EXPECT_EQ(move(kMove, 0), -EIO);
  EXPECT_EQ(move(kMove, 0), 0);
  EXPECT_EQ(move(kMoveBack, 0), -EIO);
  EXPECT_EQ(move(kMove, 0), -EIO);
  motor_.clear_faults();
  EXPECT_EQ(move(kMove, 0), 0);
}

TEST_F(MotorTest, AFaultThatMakesNoSenseIsRefused) {
  EXPECT_FALSE(lay(motor_, "rtc stopped"));
  for (const char* text : {"motor", "motor rejects move", "motor rejects move 0", "motor rejects move +",
                           "motor rejects step 1", "motor stops"}) {
    EXPECT_THROW(lay(motor_, text), std::invalid_argument) << text;
  }
}

TEST_F(MotorTest, TheTraceShowsTravelAndWhatMattersOfTheConfiguration) {
  EXPECT_EQ(traced(motor_, kConfigure, configuration()), (Words{0, 7, 0}));
  EXPECT_EQ(motor_.words_in(kConfigure, nullptr), Words{});
  EXPECT_EQ(motor_.words_in(kMove, reinterpret_cast<void*>(std::uintptr_t{175})), Words{175});
  EXPECT_EQ(motor_.words_in(kMoveBack, nullptr), Words{0});
}

TEST_F(MotorTest, AnotherRequestIsUnknown) {
  Words record = configuration();
  EXPECT_FALSE(motor_.ioctl(0x40046902, record.data()).known);
  EXPECT_EQ(traced(motor_, 0x40046902, record), Words{});
}

}  // namespace
