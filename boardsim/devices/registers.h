// A device that is a set of 32-bit registers behind {address, value} records: FPGA, front end and
// coprocessor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// Every address is there and holds 0 until it is written.
/// Faults: "NAME ADDRESS stuck VALUE": the register reads VALUE whatever is written to it.
class RegisterDevice : public Device {
 public:
  /// The request that reads a register, and how many words of its record the caller sets: the address,
  /// perhaps the value.
  struct ReadRequest {
    std::uint32_t number;
    std::size_t words_in;
  };

  /// `name` is the first word of the device's faults. A device without `read` can only be written.
  RegisterDevice(std::string_view name, std::uint32_t write_request, std::optional<ReadRequest> read);

  Answer ioctl(std::uint32_t request, void* argument) override;
  std::vector<std::uint32_t> words_in(std::uint32_t request, const void* argument) const override;
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
  std::string name_;
  std::uint32_t write_request_;
  std::optional<ReadRequest> read_;
  std::map<std::uint32_t, std::uint32_t> registers_;
  std::map<std::uint32_t, std::uint32_t> stuck_;
  std::function<void(std::uint32_t, std::uint32_t)> watcher_{};
};

}  // namespace boardsim
