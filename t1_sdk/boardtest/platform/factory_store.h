// The factory data store: flash partition /dev/mtd4 or eMMC partition /dev/mmcblk0p7, addressed alike by
// block of 64 KiB and offset in it.
//
// The flash has the bytes where block and offset say. The eMMC has the four records of MMCBLK0P7_OFFSET where
// that says, the other bytes of block 19 at 0x10000 + offset, and refuses every other address.
//
// Records are written with flash_save_dev_info() and read back with emmc_read_dev_info(): only boards that
// save to the eMMC read back what they saved. This pairing is deliberate.
#pragma once

#include <cstdint>

namespace boardtest {

/// What every stored record carries: the bytes "NQZV".
inline constexpr std::uint32_t kRecordMagic = 0x565A514E;

}  // namespace boardtest

/// Where the records lie on the eMMC partition, in bytes from its start.
enum MMCBLK0P7_OFFSET : std::uint32_t {
  DEAD_PIXEL_OFFSET = 0,  ///< block 21, offset 0x8000
  FF_OFFSET = 0x10000,    ///< block 19, offset 0
  TG_OFFSET = 0x20000,    ///< block 19, offset 0xF800
  VSUB_OFFSET = 0x30000,  ///< block 21, offset 0xFC00
};

/// The record of the flash driver's erase request.
struct erase_info_user {
  std::uint32_t start;   ///< first byte
  std::uint32_t length;  ///< bytes, whole blocks
};
static_assert(sizeof(erase_info_user) == 8);

/// Saves `len` bytes on the board's own medium: the eMMC on DEV_TYPE_61XX boards, else the flash, whose
/// blocks are read, erased and written whole (a failure between erasing and writing leaves them erased).
/// eMMC: `len`, or -1. Flash: the bytes written, that is whole blocks of 0x10000; -1 null `info`, -2 block,
/// offset or length out of range, -3 beyond the end of the partition, -4 no memory, -5 open, -6 read, -7
/// erase, -8 write.
[[nodiscard]] int flash_save_dev_info(unsigned blkNum, unsigned offset, char* info, unsigned len);
/// Reads `len` bytes from the board's own medium. `len`, or a negative code: -1 null `info` or eMMC, -2 and
/// -3 as for saving, -4 open, -5 read. No test calls it.
[[nodiscard]] int flash_read_dev_info(unsigned blkNum, unsigned offset, char* info, unsigned len);
/// Saves on the eMMC whatever the board. `len`, or -1. No test calls it.
[[nodiscard]] int emmc_save_dev_info(unsigned blkNum, unsigned offset, char* info, unsigned len);
/// Reads from the eMMC whatever the board. `len`, or -1.
[[nodiscard]] int emmc_read_dev_info(unsigned blkNum, unsigned offset, char* info, unsigned len);
