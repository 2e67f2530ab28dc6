// /dev/mtd4: the flash partition with the factory's records.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "boardsim/devices/partition.h"

namespace boardsim {

/// 22 erase blocks of 0x10000 bytes. Writing can only make zeros of ones; request 0x40084D02 with {start,
/// length} makes whole blocks all ones again (EINVAL for anything but whole, aligned blocks of the partition;
/// a descriptor that is open for reading only is refused). Faults: those of a Partition, "flash cut N";
/// "flash cut erase [N]": power fails in the next erase request of at least N blocks, after N of them (0).
class Flash : public Partition {
 public:
  static constexpr std::size_t kBlock = 0x10000;
  static constexpr std::size_t kBlocks = 22;
  static constexpr std::size_t kSize = kBlock * kBlocks;

  explicit Flash(StoragePower& power);

  Answer ioctl(std::uint32_t request, void* argument) override;
  /// Of an erase request start and length.
  std::vector<std::uint32_t> words_in(std::uint32_t request, const void* argument) const override;
  bool needs_writing(std::uint32_t request) const override;
  FaultForms fault_forms() override;
  void clear_faults() override;

  /// How many times a block was erased. Throws std::out_of_range for a block that is not there.
  unsigned erasures(std::size_t block) const { return erasures_.at(block); }

 private:
  std::uint8_t after_writing(std::uint8_t old, std::uint8_t written) const override;
  Answer erase(std::size_t start, std::size_t length);

  std::array<unsigned, kBlocks> erasures_{};
  std::optional<std::size_t> erase_cut_{};  ///< blocks of an erase request after which power fails
};

}  // namespace boardsim
