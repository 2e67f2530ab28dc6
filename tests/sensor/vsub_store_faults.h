// Faults of the factory store, each on the N-th of its calls.
#pragma once

#include <string>
#include <vector>

struct StoreFault {
  const char* call;
  int calls;  ///< such calls in one access of the store
  int which;  ///< the one of them that fails
  const char* error;
  int number;        ///< of the error
  int result;        ///< of the store
  const char* line;  ///< on standard output

  /// The fault on the N-th access, counted from 1.
  std::string on(int access) const {
    return std::string(call) + " #" + std::to_string((access - 1) * calls + which) + " " + error;
  }
};

/// What can go wrong when the flash is saved to.
inline std::vector<StoreFault> flash_save_faults() {
  return {{"open /dev/mtd4", 1, 1, "ENXIO", 6, -5, ""},
          {"lseek /dev/mtd4", 2, 1, "EINVAL", 22, -6, ""},
          {"read /dev/mtd4", 1, 1, "EIO", 5, -6, ""},
          {"ioctl /dev/mtd4 0x40084d02", 1, 1, "EACCES", 13, -7, "mtd erase error\n"},
          {"lseek /dev/mtd4", 2, 2, "EINVAL", 22, -8, "write error!\n"},
          {"write /dev/mtd4", 1, 1, "ENOSPC", 28, -8, "write error!\n"}};
}

/// What can go wrong when the eMMC is read.
inline std::vector<StoreFault> emmc_read_faults() {
  return {{"open /dev/mmcblk0p7", 1, 1, "ENXIO", 6, -1, ""},
          {"lseek /dev/mmcblk0p7", 1, 1, "EINVAL", 22, -1, ""},
          {"read /dev/mmcblk0p7", 1, 1, "EIO", 5, -1, ""}};
}
