// The timing generator's record: as it is stored, summed up and read back.
#pragma once

#include <cstddef>
#include <cstdint>

/// One register write of the timing generator.
struct reg_pair_time {
  std::uint32_t addr;
  std::uint32_t value;
  std::uint32_t delay_time;  ///< microseconds
};

namespace boardtest {

/// The pairs for which a record has room.
inline constexpr int kMostTgPairs = 128;

/// Where the record lies in the factory store.
inline constexpr unsigned kTgBlock = 19;
inline constexpr unsigned kTgOffset = 0xF800;

}  // namespace boardtest

/// The stored record, little-endian as the board is.
struct tg_data_cen {
  std::uint32_t magic;
  std::uint32_t tgNum;      ///< pairs used, 0 to kMostTgPairs
  std::uint32_t fpgaTgVer;  ///< major << 16 | minor
  std::uint32_t res[7];
  reg_pair_time tgPairs[boardtest::kMostTgPairs];
  std::uint32_t cs;  ///< checkSum() over the tgNum * 12 + 36 bytes from tgNum on
};
static_assert(sizeof(tg_data_cen) == 1580 && offsetof(tg_data_cen, tgNum) == 4);
static_assert(offsetof(tg_data_cen, fpgaTgVer) == 8 && offsetof(tg_data_cen, res) == 12);
static_assert(offsetof(tg_data_cen, tgPairs) == 40 && offsetof(tg_data_cen, cs) == 1576);

namespace boardtest {

/// The sum that closes a record whose tgNum is at most kMostTgPairs.
[[nodiscard]] unsigned tg_checksum(tg_data_cen& record);

}  // namespace boardtest
/// Reads the stored record and checks it. 1580, the store's negative code, or -10 null `tg`, -11 magic, -12
/// more than 128 pairs, -13 checksum.
[[nodiscard]] int read_tg_data(tg_data_cen* tg);
