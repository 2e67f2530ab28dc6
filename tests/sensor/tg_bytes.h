// Timing-generator parameters as a factory writes them: the stored record byte by byte, and the lines of
// /devinfo/TG.bin.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace tg {

using Bytes = std::vector<std::uint8_t>;

inline constexpr const char* kFile = "/devinfo/TG.bin";
inline constexpr std::size_t kRecordSize = 1580;
inline constexpr std::size_t kSumOffset = 1576;
inline constexpr std::size_t kPairsOffset = 40;
inline constexpr std::size_t kOnEmmc = 0x20000;
inline constexpr std::size_t kOnFlash = 19 * 0x10000 + 0xF800;

/// One register write; the delay in microseconds.
struct Pair {
  std::uint32_t address, value, delay;
};
using Pairs = std::vector<Pair>;

/// The four pairs of every healthy board's own block, version 2.1.
inline const Pairs kFilePairs = {{0x10, 1, 0}, {0x11, 0x22, 100}, {0x12, 0x333, 200}, {0x2F, 0xABCD, 5000}};
inline constexpr std::uint32_t kFileVersion = 0x20001;
/// The three pairs of the record that a board comes with from the factory, version 1.2.
inline const Pairs kFactoryPairs = {{0x10, 1, 0}, {0x11, 0x22, 100}, {0x2F, 0xABCD, 5000}};
inline constexpr std::uint32_t kFactoryVersion = 0x10002;

/// `count` pairs, each different.
inline Pairs many(std::uint32_t count) {
  Pairs pairs;
  for (std::uint32_t i = 0; i < count; ++i) pairs.push_back({i, 0x1000 + 3 * i, 10 * i});
  return pairs;
}

// ---- the record ----

inline void put_word(Bytes& bytes, std::size_t offset, std::uint32_t word) {
  for (std::size_t i = 0; i < 4; ++i) bytes.at(offset + i) = static_cast<std::uint8_t>(word >> (8 * i));
}
inline std::uint32_t byte_sum(std::span<const std::uint8_t> bytes) {
  std::uint32_t sum = 0;
  for (const std::uint8_t byte : bytes) sum += byte;
  return sum;
}
/// Puts the sum over the bytes that `count` pairs need in place.
inline void put_sum(Bytes& bytes, std::size_t count) {
  put_word(bytes, kSumOffset, byte_sum(std::span(bytes).subspan(4, count * 12 + 36)));
}
/// A valid record of these pairs.
inline Bytes record(std::uint32_t version, const Pairs& pairs) {
  Bytes bytes(kRecordSize);
  put_word(bytes, 0, 0x565A514E);
  put_word(bytes, 4, static_cast<std::uint32_t>(pairs.size()));
  put_word(bytes, 8, version);
  std::size_t offset = kPairsOffset;
  for (const Pair& pair : pairs) {
    put_word(bytes, offset, pair.address);
    put_word(bytes, offset + 4, pair.value);
    put_word(bytes, offset + 8, pair.delay);
    offset += 12;
  }
  put_sum(bytes, pairs.size());
  return bytes;
}
/// The bytes of a record in memory.
template <class Record>
Bytes bytes_of(const Record& record) {
  Bytes bytes(sizeof record);
  std::memcpy(bytes.data(), &record, sizeof record);
  return bytes;
}

// ---- the file ----

inline std::string line_of(const Pair& pair) {
  char text[64];
  std::snprintf(text, sizeof text, "{0x%x 0x%x %d}\n", pair.address, pair.value,
                static_cast<int>(pair.delay));
  return text;
}
inline std::string lines_of(const Pairs& pairs) {
  std::string text;
  for (const Pair& pair : pairs) text += line_of(pair);
  return text;
}
/// A block: its header with this count, then these pairs. A healthy board is "[TF2V1][TS3V1]".
inline std::string block(const Pairs& pairs, const std::string& board = "[TF2V1][TS3V1]",
                         const std::string& version = "[VER2.1]") {
  return board + version + "[" + std::to_string(pairs.size()) + "]\n" + lines_of(pairs);
}
inline std::string section(const std::string& model, const std::string& content) {
  return "[" + model + "]\n" + content;
}
/// The same text with CR LF line ends.
inline std::string with_cr_lf(const std::string& text) {
  std::string result;
  for (const char c : text) result.append(c == '\n' ? "\r\n" : std::string(1, c));
  return result;
}

}  // namespace tg
