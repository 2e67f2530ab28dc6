// The speeds that the storage tests print, and those of a bare loop that moves and compares the same blocks.
//
// storage_speed ROUNDS FILE: calls the program's own measurement and the loop in turn, no simulated board in
// between. Prints a row a round on standard error: MB a second written and read by the program, then by the
// loop.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "t1_sdk/boardtest/comm/storage_speed.h"

namespace {

using namespace boardtest;

constexpr int kBlocks = 25;
constexpr std::size_t kBlock = 1 << 20;

using Clock = std::chrono::steady_clock;

double speed_since(Clock::time_point start) {
  return kBlocks / std::chrono::duration<double>(Clock::now() - start).count();
}

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

/// Writes the blocks, reads them back and compares each once, and does nothing else.
StorageResult bare_loop(int fd) {
  const std::vector<char> written(kBlock, 'x');
  std::vector<char> block(kBlock);
  StorageResult result{};
  Clock::time_point start = Clock::now();
  for (int i = 0; i < kBlocks; ++i) {
    if (write(fd, written.data(), kBlock) != kBlock) fail("write");
  }
  result.write_speed = speed_since(start);
  lseek(fd, 0, SEEK_SET);
  start = Clock::now();
  for (int i = 0; i < kBlocks; ++i) {
    if (read(fd, block.data(), kBlock) != kBlock) fail("read");
    if (std::memcmp(block.data(), written.data(), kBlock) != 0) fail("other bytes than were written");
  }
  result.read_speed = speed_since(start);
  return result;
}

/// A new file, as the storage tests make one.
int create(const char* path) {
  unlink(path);
  const int fd = open(path, O_CREAT | O_TRUNC | O_RDWR, 0600);
  if (fd < 0) fail(path);
  return fd;
}

StorageResult program_on(const char* path) {
  const int fd = create(path);
  StorageResult result{};
  if (!measure_storage(fd, result) || result.wrong_bytes != 0) fail("measure_storage");
  close(fd);
  return result;
}

StorageResult loop_on(const char* path) {
  const int fd = create(path);
  const StorageResult result = bare_loop(fd);
  close(fd);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("storage_speed ROUNDS FILE\n", stderr);
    return 64;
  }
  const char* const path = argv[2];
  for (int round = 0; round < std::atoi(argv[1]); ++round) {
    const bool loop_first = round % 2 == 0;
    StorageResult loop{};
    if (loop_first) loop = loop_on(path);
    const StorageResult program = program_on(path);
    if (!loop_first) loop = loop_on(path);
    std::fprintf(stderr, "%f %f %f %f\n", program.write_speed, program.read_speed, loop.write_speed,
                 loop.read_speed);
  }
  unlink(path);
}
