// /dev/led: the board's light-emitting diodes.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// Request: 0x40044c01 switches a diode, {index, state}.
class Led : public Device {
 public:
  Answer ioctl(std::uint32_t request, void* argument) override;
  std::vector<std::uint32_t> words_in(std::uint32_t request, const void* argument) const override;

  /// The state last written to a diode; 0 before that.
  std::uint32_t led(std::uint32_t index) const;

 private:
  std::map<std::uint32_t, std::uint32_t> states_;
};

}  // namespace boardsim
