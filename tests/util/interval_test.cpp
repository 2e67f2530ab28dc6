// Time between two instants.
#include "t1_sdk/util/interval.h"

#include <gtest/gtest.h>
#include <sys/time.h>

namespace {

TEST(IntervalTest, AnIntervalIsTheSameWhicheverInstantComesFirst) {
  struct {
    timeval start, end;
    double seconds;
  } const rows[] = {{{10, 900000}, {11, 100000}, 0.2}, {{100, 0}, {103, 0}, 3.0},
                    {{5, 1}, {7, 3}, 2.000002},        {{10, 250000}, {10, 750000}, 0.5},
                    {{10, 250000}, {10, 250000}, 0.0}, {{0, 0}, {1'000'000, 1}, 1'000'000.000001}};
  for (const auto& row : rows) {
    EXPECT_NEAR(get_interval(&row.start, &row.end), row.seconds, 1e-9);
    EXPECT_NEAR(get_interval(&row.end, &row.start), row.seconds, 1e-9);
  }
}

}  // namespace
