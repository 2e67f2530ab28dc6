// Spans of time as programs hand them in.
#pragma once

#include <time.h>

#include <chrono>
#include <cstdint>
#include <vector>

#include "boardsim/kernel/clock.h"

namespace boardsim {

/// Whether the C library takes it for a span of time.
inline bool is_valid(const timespec& span) {
  return span.tv_sec >= 0 && span.tv_nsec >= 0 && span.tv_nsec < std::nano::den;
}

/// Rounded up: a wait is never too short.
inline Time to_time(const timespec& span) {
  return std::chrono::seconds(span.tv_sec) + std::chrono::ceil<Time>(std::chrono::nanoseconds(span.tv_nsec));
}

/// As it goes into the trace: seconds, nanoseconds.
inline std::vector<std::uint32_t> words(const timespec& span) {
  return {static_cast<std::uint32_t>(span.tv_sec), static_cast<std::uint32_t>(span.tv_nsec)};
}

}  // namespace boardsim
