#include "boardsim/jigs/serial_bits.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace boardsim {
namespace {

constexpr int kDataBits = 8;

/// The line in steps of one of the sender's bits; it is high before and behind them.
std::vector<bool> bits_of(std::string_view bytes) {
  std::vector<bool> bits;
  for (const char byte : bytes) {
    bits.push_back(false);
    for (int bit = 0; bit < kDataBits; ++bit)
      bits.push_back((static_cast<unsigned char>(byte) >> bit & 1) != 0);
    bits.push_back(true);
  }
  return bits;
}

}  // namespace

std::string heard_at(std::string_view bytes, int sent_rate, int heard_rate) {
  const std::vector<bool> bits = bits_of(bytes);
  const double step = static_cast<double>(sent_rate) / heard_rate;  // of the receiver, in the sender's bits
  const auto level = [&](double when) {
    const auto bit = static_cast<std::size_t>(when);
    return bit >= bits.size() || bits[bit];
  };
  std::string heard;
  double free_from = 0;
  for (std::size_t edge = 0; edge < bits.size(); ++edge) {
    const auto start = static_cast<double>(edge);
    const bool falls = !bits[edge] && (edge == 0 || bits[edge - 1]);
    if (!falls || start < free_from) continue;
    unsigned byte = 0;
    for (int bit = 0; bit < kDataBits; ++bit) {
      if (level(start + step * (bit + 1.5))) byte |= 1U << bit;
    }
    heard.push_back(static_cast<char>(byte));
    free_from = start + step * (kDataBits + 1.5);  // the middle of the stop bit
  }
  return heard;
}

}  // namespace boardsim
