// /dev/qznitc: the switch that puts the alarm lines into test mode.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// Only while it is on do alarm outputs reach the jig. Off after switching on.
class TestControl : public Device {
 public:
  std::span<const Request> requests() const override;

  bool is_on() const { return on_; }
  /// Called whenever the program switches it on, even if it was on.
  void on_switched_on(std::function<void()> watcher) { watcher_ = std::move(watcher); }

 private:
  Answer answer(const Request& request, void* argument) override;
  bool on_ = false;
  std::function<void()> watcher_{};
};

}  // namespace boardsim
