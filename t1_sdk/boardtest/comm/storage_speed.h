// How fast and how well a medium stores: what the storage tests measure.
#pragma once

namespace boardtest {

/// Megabytes that are written and read, in blocks of one.
inline constexpr int kTestSize = 25;

/// What came out.
struct StorageResult {
  double write_speed;  ///< MB a second
  double read_speed;
  int wrong_bytes;  ///< read back different from what was written
};

/// Writes the pattern to the open file `fd`, reads it back, prints a mark a block and both speeds. False,
/// with nothing written, when there is no memory for it.
[[nodiscard]] bool measure_storage(int fd, StorageResult& result);

}  // namespace boardtest
