// /dev/tcs: the registers of the stm8 coprocessor.
#pragma once

#include "boardsim/devices/registers.h"

namespace boardsim {

/// Its faults begin with "stm8".
class Stm8 : public RegisterDevice {
 public:
  Stm8();
};

}  // namespace boardsim
