// The substrate-voltage records as they lie in the factory store, written down byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace vsub {

using Bytes = std::vector<std::uint8_t>;

/// Where the records lie: in block 21 of the flash, and on the eMMC.
inline constexpr std::size_t kBlock = 21;
inline constexpr std::size_t kFlashVsub = 0x15FC00;
inline constexpr std::size_t kFlashLuma = 0x15FC40;
inline constexpr std::size_t kEmmcVsub = 0x30000;

inline constexpr std::size_t kVsubSize = 64;
inline constexpr std::size_t kLumaSize = 344;

inline void put_word(Bytes& bytes, std::size_t at, std::uint32_t word) {
  for (unsigned byte = 0; byte < 4; ++byte)
    bytes.at(at + byte) = static_cast<std::uint8_t>(word >> (8 * byte));
}

inline std::uint32_t word_at(const Bytes& bytes, std::size_t at) {
  std::uint32_t word = 0;
  for (unsigned byte = 0; byte < 4; ++byte) word |= std::uint32_t{bytes.at(at + byte)} << (8 * byte);
  return word;
}

/// The sum of the first `count` bytes.
inline std::uint32_t byte_sum(const Bytes& bytes, std::size_t count) {
  std::uint32_t sum = 0;
  for (std::size_t at = 0; at < count; ++at) sum += bytes.at(at);
  return sum;
}

/// Writes the letters NQZV.
inline void put_magic(Bytes& bytes, std::size_t at) {
  for (const char letter : {'N', 'Q', 'Z', 'V'}) bytes.at(at++) = static_cast<std::uint8_t>(letter);
}

/// A valid voltage record. A text of 8 letters fills its field without a zero.
inline Bytes record(std::uint32_t real, std::uint32_t original, std::string_view voltage) {
  Bytes bytes(kVsubSize);
  put_word(bytes, 0, real);
  put_word(bytes, 4, original);
  for (std::size_t at = 0; at < voltage.size() && at < 8; ++at) {
    bytes[8 + at] = static_cast<std::uint8_t>(voltage[at]);
  }
  put_magic(bytes, 16);
  put_word(bytes, 40, byte_sum(bytes, 40));
  return bytes;
}

struct Pair {
  std::uint32_t code = 0;
  std::uint32_t luma = 0;
  bool operator==(const Pair&) const = default;
};

/// A valid record of these pairs (40 at most).
inline Bytes luma_record(const std::vector<Pair>& pairs) {
  Bytes bytes(kLumaSize);
  put_magic(bytes, 0);
  put_word(bytes, 4, static_cast<std::uint32_t>(pairs.size()));
  std::size_t at = 8;
  for (const Pair& pair : pairs) {
    put_word(bytes, at, pair.code);
    put_word(bytes, at + 4, pair.luma);
    at += 8;
  }
  put_word(bytes, 340, byte_sum(bytes, 340));
  return bytes;
}

/// The pairs that a record says it holds.
inline std::vector<Pair> pairs_in(const Bytes& bytes) {
  std::vector<Pair> pairs;
  for (std::size_t pair = 0; pair < word_at(bytes, 4) && pair < 40; ++pair) {
    pairs.push_back({word_at(bytes, 8 + 8 * pair), word_at(bytes, 12 + 8 * pair)});
  }
  return pairs;
}

}  // namespace vsub
