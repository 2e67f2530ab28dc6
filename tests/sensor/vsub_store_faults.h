// Faults of the factory store, each on the N-th of its calls.
#pragma once

#include <string>

struct StoreFault {
  const char* call;
  int calls = 1;  ///< such calls in one access of the store
  int which = 1;  ///< the one of them that fails
  const char* error;
  int number;             ///< of the error
  int result;             ///< of the store
  const char* line = "";  ///< on standard output

  /// The fault on the N-th access, counted from 1.
  std::string on(int access) const {
    return std::string(call) + " #" + std::to_string((access - 1) * calls + which) + " " + error;
  }
};

/// What can go wrong when the flash is saved to, and on the eMMC.
inline constexpr StoreFault kFlashSaveFaults[] = {
    {.call = "open /dev/mtd4", .error = "ENXIO", .number = 6, .result = -5},
    {.call = "lseek /dev/mtd4", .calls = 2, .error = "EINVAL", .number = 22, .result = -6},
    {.call = "read /dev/mtd4", .error = "EIO", .number = 5, .result = -6},
    {.call = "ioctl /dev/mtd4 0x40084d02",
     .error = "EACCES",
     .number = 13,
     .result = -7,
     .line = "mtd erase error\n"},
    {.call = "lseek /dev/mtd4",
     .calls = 2,
     .which = 2,
     .error = "EINVAL",
     .number = 22,
     .result = -8,
     .line = "write error!\n"},
    {.call = "write /dev/mtd4", .error = "ENOSPC", .number = 28, .result = -8, .line = "write error!\n"},
};
inline constexpr StoreFault kEmmcReadFaults[] = {
    {.call = "open /dev/mmcblk0p7", .error = "ENXIO", .number = 6, .result = -1},
    {.call = "lseek /dev/mmcblk0p7", .error = "EINVAL", .number = 22, .result = -1},
    {.call = "read /dev/mmcblk0p7", .error = "EIO", .number = 5, .result = -1},
};
