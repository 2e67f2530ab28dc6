// The substrate voltage of the image sensor, and the luma that the sensor sees with it.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "boardsim/devices/registers.h"

namespace boardsim {

/// Some boards set it through the general I/O driver; on all others the FPGA takes over its register 0x2001
/// when 1 is written to 0x2102. Register 0xB0 of the FPGA then holds the luma, the less the higher the code:
/// 5000 after switching on.
class SubstrateVoltage {
 public:
  /// `by_io` tells whether the general I/O driver sets it on this board.
  SubstrateVoltage(RegisterDevice& fpga, std::function<bool()> by_io);

  /// The program gives the general I/O driver a code.
  void io_set(std::uint32_t code);
  /// The program has written a register of the FPGA.
  void register_written(std::uint32_t address, std::uint32_t value);

  /// What the hardware was given last, 0 before.
  std::uint32_t code() const { return code_; }

 private:
  void set(std::uint32_t code);

  RegisterDevice& fpga_;
  std::function<bool()> by_io_;
  std::uint32_t code_ = 0;
};

}  // namespace boardsim
