// /dev/tcs: the registers of the stm8 coprocessor.
#pragma once

#include "boardsim/devices/registers.h"

namespace boardsim {

/// Requests: 0x40045402 writes, 0x80045401 reads a register, {address, value}. Faults: "stm8 ADDRESS stuck
/// VALUE".
class Stm8 : public RegisterDevice {
 public:
  Stm8();
};

}  // namespace boardsim
