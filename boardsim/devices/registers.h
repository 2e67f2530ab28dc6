// A device that is a set of 32-bit registers behind {address, value} records: FPGA, front end and
// coprocessor.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// Every address is there and holds 0 until it is written.
class RegisterDevice : public Device {
 public:
  /// `name` is the first word of the device's faults. The first of `requests` writes a register, {address,
  /// value}; the second, if there is one, reads it.
  RegisterDevice(std::string_view name, std::span<const Request> requests)
      : name_(name), requests_(requests) {}

  std::span<const Request> requests() const override { return requests_; }
  FaultForms fault_forms() override;
  void clear_faults() override { stuck_.clear(); }

  std::uint32_t reg(std::uint32_t address) const;
  /// Sets a register as the hardware itself would; a stuck one still reads as it is stuck.
  void set_reg(std::uint32_t address, std::uint32_t value) { registers_[address] = value; }
  /// Called whenever the program has written a register.
  void on_write(std::function<void(std::uint32_t address, std::uint32_t value)> watcher) {
    watcher_ = std::move(watcher);
  }

 private:
  Answer answer(const Request& request, void* argument) override;
  std::string name_;
  std::span<const Request> requests_;
  std::map<std::uint32_t, std::uint32_t> registers_;
  std::map<std::uint32_t, std::uint32_t> stuck_;
  std::function<void(std::uint32_t, std::uint32_t)> watcher_{};
};

}  // namespace boardsim
