// A higher code is a lower voltage, with which the sensor sees less.
#include "boardsim/devices/substrate_voltage.h"

#include <algorithm>

namespace boardsim {
namespace {

constexpr std::uint32_t kCode = 0x2001;
constexpr std::uint32_t kLoad = 0x2102;
constexpr std::uint32_t kLuma = 0xB0;
constexpr std::uint32_t kBrightest = 5000;

}  // namespace

SubstrateVoltage::SubstrateVoltage(RegisterDevice& fpga, std::function<bool()> by_io)
    : fpga_(fpga), by_io_(std::move(by_io)) {
  set(0);
}

void SubstrateVoltage::io_set(std::uint32_t code) {
  if (by_io_()) set(code);
}

void SubstrateVoltage::register_written(std::uint32_t address, std::uint32_t value) {
  if (address == kLoad && value == 1 && !by_io_()) set(fpga_.reg(kCode));
}

void SubstrateVoltage::set(std::uint32_t code) {
  code_ = code;
  fpga_.set_reg(kLuma, kBrightest - std::min(code, kBrightest));
}

}  // namespace boardsim
