// /dev/rtc: the real-time clock, running on virtual time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/kernel/time.h"

namespace boardsim {

/// The record is the kernel's `struct rtc_time`. The board is switched on at 2024-05-17 08:30:12, a Friday,
/// and the clock goes on from there with virtual time.
class Rtc : public Device {
 public:
  /// What the clock shows when the board is switched on.
  static constexpr std::chrono::sys_seconds kSwitchedOn = [] {
    using namespace std::chrono;
    return sys_days{2024y / May / 17} + 8h + 30min + 12s;
  }();

  /// `now` tells the virtual time since the board was switched on.
  explicit Rtc(std::function<Time()> now);

  std::span<const Request> requests() const override;
  FaultForms fault_forms() override;
  void clear_faults() override;

  /// The clock shows these seconds, one a reading, then keeps showing the last; a second smaller than the one
  /// before begins a new minute. Throws std::invalid_argument for an empty list or a value outside 0 to 59.
  void set_seconds(std::vector<int> seconds);

 private:
  Answer answer(const Request& request, void* argument) override;
  std::int64_t reading();

  std::function<Time()> now_;
  std::optional<Time> stopped_at_;
  std::vector<int> script_;
  std::size_t script_next_ = 0;
  std::int64_t script_minute_ = 0;  ///< start of the minute that the script is in, seconds since 1970
};

}  // namespace boardsim
