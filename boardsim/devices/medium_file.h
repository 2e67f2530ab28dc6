// A file on a storage medium. Its content lies in a file of the PC that has no name, so that it is read and
// written as fast as the PC does it.
#pragma once

#include <sys/types.h>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/kernel/own_descriptor.h"

namespace boardsim {

class Medium;

/// A regular file, read and written at a descriptor's position. It grows until the medium is full: then a
/// write is short, and one that finds no room at all fails with ENOSPC.
class MediumFile : public Device {
 public:
  /// `medium` outlives it.
  MediumFile(Medium& medium, std::string_view name) : medium_(medium), name_(name) {}

  /// Takes O_CREAT, O_EXCL and O_TRUNC. ENOENT, EEXIST, ENOTDIR, EROFS, or the PC's errno when it has no room
  /// for another file.
  Answer open(int flags) override;
  int descriptor(int flags) override;
  void close() override;
  Answer read(void* buffer, std::size_t size, off64_t& position) override;
  Answer write(const void* buffer, std::size_t size, off64_t& position) override;
  Time transfer_time(Transfer direction) const override;
  mode_t mode() const override;
  off64_t size() const override { return size_; }
  /// EIO once the medium is gone.
  int dead() const override;

  const std::string& name() const { return name_; }
  bool exists() const { return exists_; }
  bool is_open() const { return openings_ > 0; }
  /// Takes it off the medium; its space is free once nobody has it open.
  void unlink();
  /// Clusters that it takes.
  std::int64_t clusters() const;
  /// What is stored. Throws std::system_error when the PC cannot read it.
  std::string content() const;

 private:
  void drop_if_gone();

  Medium& medium_;
  std::string name_;
  bool exists_ = false;
  int openings_ = 0;
  off64_t size_ = 0;
  std::optional<OwnDescriptor> backing_{};  ///< the file of the PC
};

}  // namespace boardsim
