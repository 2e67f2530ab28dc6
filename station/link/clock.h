// The client's idea of elapsed time. Tests bring a clock of their own.
#pragma once

#include <chrono>

namespace t1station {

/// A clock that only runs forward.
class Clock {
 public:
  Clock() = default;
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;
  virtual ~Clock() = default;

  /// Seconds since some fixed moment.
  virtual double now() const = 0;
};

/// The monotonic clock of this machine.
class SteadyClock final : public Clock {
 public:
  double now() const override {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  }
};

/// The one that is used where nobody brings another.
inline const Clock& steady_clock() {
  static const SteadyClock clock;
  return clock;
}

}  // namespace t1station
