// A buffer that shows when somebody touches what lies around it.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>

/// Bytes that end at memory which nobody may touch: reading or writing behind them ends the process. What
/// lies in front is a pattern that front_is_intact() looks at.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::size_t size, unsigned char fill = kUntouched)
      : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
        room_((size + kFront + page_ - 1) / page_ * page_),
        size_(size) {
    void* const memory =
        mmap(nullptr, room_ + page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no memory for a guarded buffer");
    memory_ = static_cast<unsigned char*>(memory);
    std::fill_n(memory_, room_, kUntouched);
    std::fill_n(data(), size_, fill);
    mprotect(memory_ + room_, page_, PROT_NONE);
  }
  ~GuardedBytes() { munmap(memory_, room_ + page_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  unsigned char* data() { return memory_ + room_ - size_; }
  std::string text() { return {data(), data() + size_}; }
  bool front_is_intact() {
    return std::all_of(memory_, data(), [](unsigned char byte) { return byte == kUntouched; });
  }

  static constexpr unsigned char kUntouched = '~';

 private:
  static constexpr std::size_t kFront = 64;

  std::size_t page_;
  std::size_t room_;
  std::size_t size_;
  unsigned char* memory_ = nullptr;
};
