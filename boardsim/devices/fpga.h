// /dev/fpga: the registers of the board's FPGA.
#pragma once

#include "boardsim/devices/registers.h"

namespace boardsim {

/// Its faults begin with "fpga".
class Fpga : public RegisterDevice {
 public:
  Fpga();
};

}  // namespace boardsim
