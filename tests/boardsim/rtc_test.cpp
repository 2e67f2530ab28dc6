// The real-time clock on virtual time, and the ways in which it goes wrong.
#include "boardsim/devices/rtc.h"

#include <gtest/gtest.h>
#include <chrono>
#include <stdexcept>

#include "tests/boardsim/device_driver.h"

namespace {

using namespace boardsim;
using namespace boardsim::test;
using namespace std::chrono_literals;

class RtcTest : public testing::Test {
 protected:
  Words read() { return exchange(rtc_, 0x80247009, Words(9, 0xAAAAAAAA)); }

  // The seconds of as many readings, one second apart.
  Words seconds(int readings) {
    Words result;
    for (int i = 0; i < readings; ++i, now_ += 1s) result.push_back(read()[0]);
    return result;
  }

  Time now_ = 0us;
  Rtc rtc_{[this] { return now_; }};
};

TEST_F(RtcTest, TheClockStartsOnAFridayInMayAndShowsWholeSecondsOfVirtualTime) {
  EXPECT_EQ(read(), (Words{12, 30, 8, 17, 4, 124, 5, 137, 0}));
  now_ = 999999us;
  EXPECT_EQ(read()[0], 12U);
  now_ = 48s;
  EXPECT_EQ(read(), (Words{0, 31, 8, 17, 4, 124, 5, 137, 0}));
}

TEST_F(RtcTest, TheCalendarHoldsOverMidnightAndTheYearsEnd) {
  now_ = 15h + 29min + 48s;
  EXPECT_EQ(read(), (Words{0, 0, 0, 18, 4, 124, 6, 138, 0}));
  now_ += 24h * (365 - 138);  // 2024 is a leap year: to its last day
  EXPECT_EQ(read(), (Words{0, 0, 0, 31, 11, 124, 2, 365, 0}));
  now_ += 24h;
  EXPECT_EQ(read(), (Words{0, 0, 0, 1, 0, 125, 3, 0, 0}));
}

TEST_F(RtcTest, TheRecordIsNineWordsAndNoneOfThemGoesIn) {
  const Words record = exchange(rtc_, 0x80247009, Words(10, 0xAAAAAAAA));
  EXPECT_EQ(record[9], 0xAAAAAAAAU);
  EXPECT_EQ(traced(rtc_, 0x80247009, record), Words{});
}

TEST_F(RtcTest, AScriptedClockBeginsANewMinuteWhenItsSecondsFall) {
  rtc_.set_seconds({59, 0, 2, 1});
  Words minutes;
  for (int i = 0; i < 5; ++i) minutes.push_back(read()[1]);
  EXPECT_EQ(minutes, (Words{30, 31, 31, 32, 32}));
}

TEST_F(RtcTest, TheFaultLaidLastCountsUntilAllAreTakenAway) {
  lay(rtc_, "rtc seconds 40 41");
  now_ = 5s;
  lay(rtc_, "rtc stopped");
  EXPECT_EQ(seconds(2), (Words{17, 17}));
  lay(rtc_, "rtc seconds 40 41");
  EXPECT_EQ(seconds(3), (Words{40, 41, 41}));
  rtc_.clear_faults();
  EXPECT_EQ(seconds(1), Words{22}) << "it goes on in time";
}

TEST_F(RtcTest, SecondsThatNoClockShowsAreRefused) {
  for (const char* text : {"rtc seconds", "rtc seconds 60", "rtc seconds 1 x", "rtc seconds 4294967295"}) {
    EXPECT_THROW(lay(rtc_, text), std::invalid_argument) << text;
  }
  for (const std::vector<int>& none : {std::vector<int>{}, {-1}, {60}}) {
    EXPECT_THROW(rtc_.set_seconds(none), std::invalid_argument);
  }
}

}  // namespace
