// Spans and moments of time between a recording, which has nanoseconds, and the program.
#pragma once

#include <sys/time.h>
#include <time.h>

#include <cstdint>

#include "boardrec/replay/handed.h"

namespace boardrec {

inline constexpr std::int64_t kSecond = 1'000'000'000;

inline std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * kSecond + time.tv_nsec;
}
inline std::int64_t nanoseconds(const timeval& time) {
  return std::int64_t{time.tv_sec} * kSecond + std::int64_t{time.tv_usec} * 1000;
}

/// The span that the program hands in, of either type.
template <typename Time>
Handed span(const Time* time) {
  const Given<Time> given(time);
  return given ? Handed::of(nanoseconds(*given)) : given.missing();
}

inline timespec to_timespec(std::int64_t time) {
  return {static_cast<time_t>(time / kSecond), static_cast<long>(time % kSecond)};
}
inline timeval to_timeval(std::int64_t time) {
  return {static_cast<time_t>(time / kSecond), static_cast<suseconds_t>(time % kSecond / 1000)};
}

}  // namespace boardrec
