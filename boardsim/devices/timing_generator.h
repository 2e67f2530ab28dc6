// /dev/tg: the registers of the image sensor's analogue front end.
#pragma once

#include "boardsim/devices/registers.h"

namespace boardsim {

/// Request: 0x40045402 writes a register, {address, value}; there is no read. Faults: "afe ADDRESS stuck
/// VALUE".
class TimingGenerator : public RegisterDevice {
 public:
  TimingGenerator();
};

}  // namespace boardsim
