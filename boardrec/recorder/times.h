// Spans and moments of time as programs hand them over, in the layouts of both sizes of time.
#pragma once

#include <sys/time.h>
#include <time.h>

#include <cstdint>

#include "boardrec/memory/copies.h"
#include "boardrec/recorder/file.h"

namespace boardrec {

/// timespec and timeval of programs whose times have 64 bits, on machines where they usually have 32.
struct WideTimespec {
  std::int64_t tv_sec;
  std::int32_t tv_nsec;
  std::int32_t unused;
};
struct WideTimeval {
  std::int64_t tv_sec;
  std::int64_t tv_usec;
};

/// The status of a file as such programs have it.
struct WideStat {
  std::uint64_t st_dev, st_ino;
  std::uint32_t st_mode, st_nlink, st_uid, st_gid;
  std::uint64_t st_rdev;
  std::int64_t st_size;
  std::int32_t st_blksize;
  std::int64_t st_blocks;
  WideTimespec st_atim, st_mtim, st_ctim;
};

inline std::int64_t nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}
inline std::int64_t nanoseconds(const WideTimespec& time) {
  return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}
inline std::int64_t nanoseconds(const timeval& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + std::int64_t{time.tv_usec} * 1000;
}
inline std::int64_t nanoseconds(const WideTimeval& time) {
  return time.tv_sec * 1'000'000'000 + time.tv_usec * 1000;
}

}  // namespace boardrec
