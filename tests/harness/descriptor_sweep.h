// Descriptors that a test leaves open, as some do by design, must not pile up over many runs in one process.
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <bitset>

/// Closes at its end every descriptor that was opened since it was made. Make it before the board.
class DescriptorSweep {
 public:
  DescriptorSweep() {
    for (int fd = 0; fd < kMost; ++fd) before_[static_cast<std::size_t>(fd)] = is_open(fd);
  }
  ~DescriptorSweep() {
    for (int fd = 0; fd < kMost; ++fd) {
      if (!before_[static_cast<std::size_t>(fd)]) close(fd);
    }
  }
  DescriptorSweep(const DescriptorSweep&) = delete;
  DescriptorSweep& operator=(const DescriptorSweep&) = delete;

 private:
  static constexpr int kMost = 128;  // a run opens a few dozen, from the lowest free number on

  static bool is_open(int fd) { return fcntl(fd, F_GETFD) >= 0; }

  std::bitset<kMost> before_{};
};
