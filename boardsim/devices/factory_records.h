// The calibration records that a board's factory leaves on its eMMC.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "boardsim/families/families.h"

namespace boardsim {

/// One record. All are little-endian and carry the bytes "NQZV" (0x565A514E) as their magic; a checksum is
/// the 32-bit sum of bytes.
struct FactoryRecord {
  std::string_view name;  ///< "dead-pixels", "flat-field", "timing", "vsub"
  std::size_t position;   ///< on the partition
  std::size_t size;       ///< bytes
  std::size_t magic;      ///< offset in the record
  std::size_t checksum;   ///< offset in the record
  /// The record of a healthy board, `size` bytes.
  std::vector<std::uint8_t> (*contents)(const Hardware& hardware);
};

/// All records of a board, by their position.
std::span<const FactoryRecord> factory_records();
/// The record of that name, or null.
const FactoryRecord* find_factory_record(std::string_view name);

/// Makes a stored record all ones, as if it had never been written.
void take_away(std::span<std::uint8_t> record);
/// Gives a stored record a wrong magic.
void spoil_magic(const FactoryRecord& kind, std::span<std::uint8_t> record);
/// Gives a stored record a wrong checksum.
void spoil_checksum(const FactoryRecord& kind, std::span<std::uint8_t> record);

}  // namespace boardsim
