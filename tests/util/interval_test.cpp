// Time between two instants.
#include "t1_sdk/util/interval.h"

#include <gtest/gtest.h>
#include <sys/time.h>

namespace {

constexpr double kNear = 1e-9;

double between(timeval start, timeval end) {
  return get_interval(&start, &end);
}

TEST(IntervalTest, AnIntervalAcrossASecondIsAFractionOfIt) {
  EXPECT_NEAR(between({10, 900000}, {11, 100000}), 0.2, kNear);
}

TEST(IntervalTest, SwappedInstantsGiveTheSameInterval) {
  EXPECT_NEAR(between({11, 100000}, {10, 900000}), 0.2, kNear);
}

TEST(IntervalTest, WholeSecondsCount) {
  EXPECT_DOUBLE_EQ(between({100, 0}, {103, 0}), 3.0);
  EXPECT_DOUBLE_EQ(between({103, 0}, {100, 0}), 3.0);
}

TEST(IntervalTest, MicrosecondsCount) {
  EXPECT_NEAR(between({5, 1}, {7, 3}), 2.000002, kNear);
  EXPECT_NEAR(between({7, 3}, {5, 1}), 2.000002, kNear);
}

TEST(IntervalTest, WithinOneSecondTheOrderDoesNotMatter) {
  EXPECT_NEAR(between({10, 250000}, {10, 750000}), 0.5, kNear);
  EXPECT_NEAR(between({10, 750000}, {10, 250000}), 0.5, kNear);
}

TEST(IntervalTest, AnInstantIsNoTimeFromItself) {
  EXPECT_DOUBLE_EQ(between({10, 250000}, {10, 250000}), 0.0);
}

TEST(IntervalTest, ALongIntervalKeepsItsMicroseconds) {
  EXPECT_NEAR(between({0, 0}, {1'000'000, 1}), 1'000'000.000001, kNear);
}

}  // namespace
