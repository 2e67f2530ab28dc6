// /dev/led: the board's light-emitting diodes.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// Each diode keeps the state last written to it.
class Led : public Device {
 public:
  std::span<const Request> requests() const override;

  /// The state last written to a diode; 0 before that.
  std::uint32_t state(std::uint32_t index) const;

 private:
  Answer answer(const Request& request, void* argument) override;
  std::map<std::uint32_t, std::uint32_t> states_;
};

}  // namespace boardsim
