// Parameters of the image sensor's timing generator: from /devinfo/TG.bin into the factory store, and back
// to the station as text.
#pragma once

#include <cstddef>
#include <cstdint>

/// One register write of the timing generator.
struct reg_pair_time {
  std::uint32_t addr;
  std::uint32_t value;
  std::uint32_t delay_time;  ///< microseconds
};

/// The pairs for which a record has room.
inline constexpr int kMostTgPairs = 128;

/// The stored record, little-endian as the board is: block 19, offset 0xF800.
struct tg_data_cen {
  std::uint32_t magic;
  std::uint32_t tgNum;      ///< pairs used, 0 to kMostTgPairs
  std::uint32_t fpgaTgVer;  ///< major << 16 | minor
  std::uint32_t res[7];
  reg_pair_time tgPairs[kMostTgPairs];
  std::uint32_t cs;  ///< checkSum() over the tgNum * 12 + 36 bytes from tgNum on
};
static_assert(sizeof(tg_data_cen) == 1580 && offsetof(tg_data_cen, tgNum) == 4);
static_assert(offsetof(tg_data_cen, fpgaTgVer) == 8 && offsetof(tg_data_cen, res) == 12);
static_assert(offsetof(tg_data_cen, tgPairs) == 40 && offsetof(tg_data_cen, cs) == 1576);

/// Fills `tg` with the block of /devinfo/TG.bin for this board's model, FPGA and sensor. The number of pairs,
/// or -1 null `tg`, boot block unreadable or model unknown, -2 no file, -3 no section for the model, -4 no
/// block for the versions, -6 pair count outside 0 to 128, -7 the file ends among the pairs or has an empty
/// line there. A line that is no pair leaves its entry zero.
int getTgFromFile(tg_data_cen* tg);
/// Reads the stored record and checks it. 1580, the store's negative code, or -10 null `tg`, -11 magic, -12
/// more than 128 pairs, -13 checksum.
int read_tg_data(tg_data_cen* tg);

/// Test 10496: file to factory store.
void t1_sdk_setTGParam();
/// Test 10752: factory store to the console and, as many pairs as fit, to the description.
void t1_sdk_printTGParam();
