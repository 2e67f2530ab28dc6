// A process that is given no more memory.
#pragma once

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>
#include <cstdlib>
#include <fstream>
#include <vector>

// Sanitizers end the process, and the emulator of ARM sets no limit.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__arm__)
inline constexpr bool kMemoryCanBeRefused = false;
#else
inline constexpr bool kMemoryCanBeRefused = true;
#endif

/// While it lives, about half a megabyte can still be had, and no block of a megabyte.
class TightMemory {
 public:
  TightMemory() {
    // Large blocks come in mappings of their own, and what is free goes back.
    mallopt(M_MMAP_THRESHOLD, 0x40000);
    malloc_trim(0);
    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    EXPECT_GT(pages, 0U);
    EXPECT_EQ(getrlimit(RLIMIT_AS, &limit_), 0);
    rlimit tight = limit_;
    tight.rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + 0x80000;
    EXPECT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    // What earlier tests gave back is taken again.
    while (void* const block = std::malloc(0x100000)) taken_.push_back(block);
  }
  ~TightMemory() {
    setrlimit(RLIMIT_AS, &limit_);
    for (void* const block : taken_) std::free(block);
  }
  TightMemory(const TightMemory&) = delete;
  TightMemory& operator=(const TightMemory&) = delete;

 private:
  rlimit limit_{};
  std::vector<void*> taken_;
};
