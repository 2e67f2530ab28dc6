// /dev/qznitc: the switch that puts the alarm lines into test mode.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// Request 0x888b with a pointer to an int: 0 switches I/O test control off, anything else on. Only while it
/// is on do alarm outputs reach the jig. Off after switching on.
class TestControl : public Device {
 public:
  Answer ioctl(std::uint32_t request, void* argument) override;
  std::vector<std::uint32_t> words_in(std::uint32_t request, const void* argument) const override;

  bool is_on() const { return on_; }
  /// Called whenever the program switches it on, even if it was on.
  void on_switched_on(std::function<void()> watcher) { watcher_ = std::move(watcher); }

 private:
  bool on_ = false;
  std::function<void()> watcher_{};
};

}  // namespace boardsim
