#include "t1_sdk/util/interval.h"

#include <cmath>

double get_interval(const timeval* start, const timeval* end) {
  const auto seconds = static_cast<double>(end->tv_sec - start->tv_sec);
  const auto microseconds = static_cast<double>(end->tv_usec - start->tv_usec);
  // Two ways to the same figure: the sign is taken off before the sum when whole seconds run backwards.
  if (end->tv_sec < start->tv_sec) return -seconds + -microseconds / 1000000.0;
  return std::fabs(seconds + microseconds / 1000000.0);
}
