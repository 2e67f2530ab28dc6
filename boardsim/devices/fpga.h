// /dev/fpga: the registers of the board's FPGA.
#pragma once

#include "boardsim/devices/registers.h"

namespace boardsim {

/// Requests: 0x40044603 writes, 0x80044602 reads a register, {address, value}. Faults: "fpga ADDRESS stuck
/// VALUE".
class Fpga : public RegisterDevice {
 public:
  Fpga();
};

}  // namespace boardsim
