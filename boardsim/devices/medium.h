// A removable storage medium behind its block device node: a FAT file system of a limited size, and what goes
// wrong with such media.
#pragma once

#include <sys/types.h>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/devices/medium_file.h"

namespace boardsim {

/// A USB stick or memory card. All its files lie in its root folder; they stay there whether it is mounted or
/// not. 4 GB and empty at first. The node can be opened, but the bare blocks can neither be read nor written.
class Medium : public Device {
 public:
  static constexpr std::int64_t kCluster = 4096;  ///< bytes; the unit in which files take space

  /// `node` is the second word of its faults: "/dev/msb1".
  explicit Medium(std::string_view node) : node_(node) {}

  /// ENXIO when nothing is in the slot.
  Answer open(int flags) override;
  mode_t mode() const override;
  void clear_faults() override { faults_ = {}; }

  std::string_view node() const { return node_; }
  /// The errno with which mounting it fails: ENXIO when it is absent, ENODEV once it was pulled out, else 0.
  int mount_error() const;
  bool is_read_only() const { return faults_.read_only; }
  /// Whether a file is open.
  bool is_busy() const;

  /// The file of that name, or null.
  MediumFile* find(std::string_view name);
  /// What is stored in one. Throws std::invalid_argument when there is none of that name.
  std::string content(std::string_view name);
  /// find(), but never null: a file that is not there exists once it was opened with O_CREAT.
  MediumFile* find_or_make(std::string_view name);
  /// Takes a file away. ENOENT, EROFS, or EIO when the medium is gone; one that is open stays readable.
  Answer unlink(std::string_view name);

  /// In clusters.
  struct Space {
    std::int64_t size = 0, free = 0;
  };
  Space space() const;
  /// From now on it holds `size_mb` megabytes in all, of which `free_mb` are free now. Throws
  /// std::invalid_argument when its files leave no room for that.
  void set_space(double size_mb, double free_mb);
  /// How long every read or write of a file takes; none at first.
  void set_block_time(Transfer direction, Time span) {
    block_times_[direction == Transfer::read ? 0 : 1] = span;
  }

 private:
  friend class MediumFile;
  friend FaultForms medium_fault_forms(std::span<Medium> media);

  struct Faults {
    bool absent = false, pulled = false, read_only = false;
    std::optional<std::int64_t> room{};                      ///< clusters that files may take in all
    std::vector<off64_t> wrong{};                            ///< offsets whose bytes read back inverted
    Time slow{};                                             ///< how long a block takes
    std::uint32_t writes_left = 0, reads_left = 0;           ///< the last of them pulls it out; 0: none does
    std::size_t at_most = std::numeric_limits<long>::max();  ///< bytes of a read
  };

  std::int64_t used() const;
  /// Counts a block that is written or read: EIO for the one at which the medium is pulled out, else 0.
  int count_block(std::uint32_t& blocks_left);

  std::string_view node_;
  std::vector<std::unique_ptr<MediumFile>> files_{};
  std::int64_t size_ = 4096LL * 256;   ///< clusters
  std::int64_t occupied_ = 0;          ///< clusters that no file of the program's takes
  std::array<Time, 2> block_times_{};  ///< of a read, of a write
  Faults faults_{};
};

/// The faults of all media, which are named by their nodes.
FaultForms medium_fault_forms(std::span<Medium> media);

}  // namespace boardsim
