// /dev/mtd4: the flash partition with the factory's records.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "boardsim/devices/partition.h"

namespace boardsim {

/// 22 erase blocks of 0x10000 bytes. Writing can only make zeros of ones; erasing makes ones again (EINVAL
/// for anything but whole, aligned blocks of the partition).
class Flash : public Partition {
 public:
  static constexpr std::size_t kBlock = 0x10000;
  static constexpr std::size_t kBlocks = 22;
  static constexpr std::size_t kSize = kBlock * kBlocks;

  explicit Flash(StoragePower& power);

  std::span<const Request> requests() const override;
  FaultForms fault_forms() override;
  void clear_faults() override;

  /// How many times a block was erased. Throws std::out_of_range for a block that is not there.
  unsigned erasures(std::size_t block) const { return erasures_.at(block); }

 private:
  Answer answer(const Request& request, void* argument) override;
  std::uint8_t after_writing(std::uint8_t old, std::uint8_t written) const override;
  Answer erase(std::size_t start, std::size_t length);

  std::array<unsigned, kBlocks> erasures_{};
  std::optional<std::size_t> erase_cut_{};  ///< blocks of an erase request after which power fails
};

}  // namespace boardsim
