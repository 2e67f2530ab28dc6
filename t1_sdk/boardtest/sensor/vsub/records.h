// The records of the substrate voltage in the factory store.
#pragma once

#include <cstddef>
#include <cstdint>

namespace boardtest {

/// Where the records lie in the factory store.
inline constexpr unsigned kVsubBlock = 21;
inline constexpr unsigned kVsubOffset = 0xFC00;
inline constexpr unsigned kVsubLumaOffset = 0xFC40;

}  // namespace boardtest

/// The calibrated voltage, little-endian as the board is: block 21, offset 0xFC00.
struct VSUB_DATA {
  std::uint32_t realVsub;      ///< code in use
  std::uint32_t originalVsub;  ///< code before trimming
  char voltage[8];             ///< of originalVsub; may fill the field without a zero in a damaged record
  std::uint32_t magicNumber;
  std::uint32_t res[5];
  std::uint32_t checkSum;  ///< over bytes 0 to 39
  std::uint32_t res1[5];
};
static_assert(sizeof(VSUB_DATA) == 64 && offsetof(VSUB_DATA, voltage) == 8);
static_assert(offsetof(VSUB_DATA, magicNumber) == 16 && offsetof(VSUB_DATA, checkSum) == 40);

/// A code and the brightness that the FPGA measured with it.
struct VSUB_PAIR {
  std::uint32_t vsubValue;  ///< 0xFFFF when none was applied
  std::uint32_t luma;
};

/// The pairs of the last sweep: block 21, offset 0xFC40.
struct VSUB_LUMA_DATA {
  std::uint32_t magicNumber;
  std::uint32_t vsubNumber;  ///< pairs in use, 0 to 40
  VSUB_PAIR vsubGroup[40];
  std::uint32_t res[3];
  std::uint32_t checkSum;  ///< over bytes 0 to 339
};
static_assert(sizeof(VSUB_LUMA_DATA) == 344 && offsetof(VSUB_LUMA_DATA, vsubGroup) == 8);
static_assert(offsetof(VSUB_LUMA_DATA, res) == 328 && offsetof(VSUB_LUMA_DATA, checkSum) == 340);

/// Seals the record with magic and checksum and saves it. The store's result, -10 for a null record.
[[nodiscard]] int writeVsubData(VSUB_DATA* pData);
/// Reads the record from the eMMC and checks it. The store's result, -10 null, -11 magic, -13 checksum.
[[nodiscard]] int readVsubData(VSUB_DATA* pData);
/// As writeVsubData().
[[nodiscard]] int writeVsubLumaData(VSUB_LUMA_DATA* pData);
/// As readVsubData(). The eMMC has no place for this record, so that it always returns -1.
[[nodiscard]] int readVsubLumaData(VSUB_LUMA_DATA* pData);
