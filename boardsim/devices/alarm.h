// /dev/alarm: the driver of the alarm outputs on boards that have one.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// Index 0x46554C4C is all alarms at once, one bit of the state an alarm; any other below 32 is one alarm,
/// its state 0 or 1. The driver knows outputs only (direction 0).
class Alarm : public Device {
 public:
  std::span<const Request> requests() const override;

  /// One bit an alarm output; 0 after switching on.
  std::uint32_t state() const { return state_; }
  /// Called whenever the program sets outputs.
  void on_set(std::function<void()> watcher) { watcher_ = std::move(watcher); }

 private:
  Answer answer(const Request& request, void* argument) override;
  std::uint32_t state_ = 0;
  std::function<void()> watcher_{};
};

}  // namespace boardsim
