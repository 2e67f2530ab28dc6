#include "t1_sdk/boardtest/comm/storage_speed.h"

#include <sys/time.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "t1_sdk/util/interval.h"

using namespace boardtest;

namespace {

constexpr std::size_t kBlock = 0x100000;
constexpr std::size_t kPeriod = 256;  // of the pattern

timeval now() {
  timeval time{};
  gettimeofday(&time, nullptr);
  return time;
}

void mark_block() {
  std::fputs("#", stdout);
  std::fflush(stdout);
}

/// Megabytes a second; a time too short to be seen counts as one second.
double speed_since(const timeval& start) {
  const timeval end = now();
  const double elapsed = get_interval(&start, &end);
  return kTestSize / (elapsed == 0 ? 1.0 : elapsed);
}

/// A block that is right is compared with itself, one period on: as fast as memory can be read.
int count_wrong(const unsigned char* block, const unsigned char* pattern) {
  if (std::memcmp(block, pattern, kPeriod) == 0 &&
      std::memcmp(block, block + kPeriod, kBlock - kPeriod) == 0) {
    return 0;
  }
  int wrong = 0;
  for (std::size_t i = 0; i < kBlock; ++i) wrong += block[i] != pattern[i % kPeriod];
  return wrong;
}

}  // namespace

bool boardtest::measure_storage(int fd, StorageResult& result) {
  const std::unique_ptr<unsigned char, decltype(&std::free)> memory(
      static_cast<unsigned char*>(std::malloc(kBlock)), &std::free);
  unsigned char* const block = memory.get();
  if (block == nullptr) return false;
  timeval start = now();
  srandom(static_cast<unsigned>(start.tv_sec ^ start.tv_usec));
  const auto shift = static_cast<std::size_t>(random());
  unsigned char pattern[kPeriod];
  for (std::size_t i = 0; i < kPeriod; ++i) pattern[i] = static_cast<unsigned char>(i + shift);
  for (std::size_t at = 0; at < kBlock; at += kPeriod) std::memcpy(block + at, pattern, kPeriod);

  start = now();
  for (int i = 0; i < kTestSize; ++i) {
    // What does not reach the medium shows as wrong bytes.
    [[maybe_unused]] const ssize_t ignored = write(fd, block, kBlock);
    mark_block();
  }
  result.write_speed = speed_since(start);
  std::printf("\n磁盘写入速度:%4.2f(M/S)\n", result.write_speed);

  lseek(fd, 0, SEEK_SET);
  result.wrong_bytes = 0;
  start = now();
  for (int i = 0; i < kTestSize; ++i) {
    const ssize_t got = read(fd, block, kBlock);
    const std::size_t filled = got > 0 ? static_cast<std::size_t>(got) : 0;
    std::memset(block + filled, 0, kBlock - filled);  // nothing of an earlier block counts as read
    result.wrong_bytes += count_wrong(block, pattern);
    mark_block();
  }
  result.read_speed = speed_since(start);
  std::printf("\n磁盘读取速度:%4.2f(M/S)\n", result.read_speed);
  return true;
}
