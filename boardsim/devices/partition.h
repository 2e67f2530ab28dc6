// A storage partition: bytes at positions, kept in a file of the PC if one is named, and what a power cut
// does to it.
#pragma once

#include <sys/types.h>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"

namespace boardsim {

/// The power of the board's storage. Once it has failed, every call on a storage node fails with EIO.
struct StoragePower {
  bool failed = false;
};

/// A partition that is read and written at a descriptor's position: a read ends at the end of the partition,
/// a write that reaches beyond it is short, one that begins there fails with ENOSPC. All ones at first.
/// When power fails, nothing works until the faults are taken away; what is stored stays as it is.
class Partition : public Device {
 public:
  /// `name` is the first word of its faults; `power` outlives it.
  Partition(std::string_view name, std::size_t size, StoragePower& power);
  ~Partition() override;

  Answer read(void* buffer, std::size_t size, off64_t& position) override;
  Answer write(const void* buffer, std::size_t size, off64_t& position) override;
  int dead() const override;
  FaultForms fault_forms() override;
  void clear_faults() override;

  /// The bytes from `offset` on. Throws std::out_of_range beyond the end.
  std::vector<std::uint8_t> bytes(std::size_t offset, std::size_t size) const;
  /// Puts bytes in place whatever was there. Throws std::out_of_range beyond the end.
  void set_bytes(std::size_t offset, std::span<const std::uint8_t> bytes);
  /// Takes over what a file of this very size holds, or makes one of what is stored now; every change is in
  /// the file at once. Throws std::runtime_error when the file cannot be used.
  void keep_in(const std::string& file);

 protected:
  std::span<std::uint8_t> stored() { return stored_; }
  void cut_power() { power_.failed = true; }
  std::string_view name() const { return name_; }
  /// What a byte is once `written` was written over `old`.
  virtual std::uint8_t after_writing(std::uint8_t old, std::uint8_t written) const = 0;

 private:
  std::span<std::uint8_t> part(std::size_t offset, std::size_t size) const;
  void unmap();

  std::string_view name_;
  StoragePower& power_;
  std::vector<std::uint8_t> own_;     ///< the bytes until a file keeps them
  std::span<std::uint8_t> stored_;    ///< the bytes: own_, or the file in memory
  bool in_file_ = false;              ///< stored_ is the file
  std::optional<std::size_t> cut_{};  ///< bytes of a write after which power fails
};

}  // namespace boardsim
