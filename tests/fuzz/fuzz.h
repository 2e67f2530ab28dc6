// What the fuzz targets share: the input taken apart, and conditions that must hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Called once for each input. Always 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the process, which the fuzzer takes for a finding, unless `holds`; `what` says what should have held.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "fuzz target: %s\n", what);
  std::abort();
}

/// An input, taken from its front. What lies behind its end is 0 and empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}

  bool empty() const { return left_ == 0; }

  std::uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *at_++;
  }

  /// The next bytes, at most `most` of them.
  std::string bytes(std::size_t most) {
    const std::size_t count = std::min(most, left_);
    const std::string taken(at_, at_ + count);
    at_ += count;
    left_ -= count;
    return taken;
  }

  std::string rest() { return bytes(left_); }

 private:
  const std::uint8_t* at_;
  std::size_t left_;
};
