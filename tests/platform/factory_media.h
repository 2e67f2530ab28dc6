// What the tests of the factory store share: recognisable bytes, and what a medium was asked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"

inline constexpr std::size_t kEraseBlock = 0x10000;
inline constexpr std::size_t kFlashSize = 22 * kEraseBlock;
inline constexpr const char* kFlashNode = "/dev/mtd4";
inline constexpr const char* kEmmcNode = "/dev/mmcblk0p7";

/// Bytes that tell their place; another seed gives other ones. None is all ones.
inline std::vector<std::uint8_t> pattern(std::size_t size, unsigned seed) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>((i * 7 + i / 251 + seed * 31) % 255);
  }
  return bytes;
}

/// `size` bytes of erased flash.
inline std::vector<std::uint8_t> ones(std::size_t size) {
  return std::vector<std::uint8_t>(size, 0xFF);
}

/// `bytes` with `part` in their place from `offset` on.
inline std::vector<std::uint8_t> with(std::vector<std::uint8_t> bytes, std::size_t offset,
                                      std::span<const std::uint8_t> part) {
  for (std::size_t i = 0; i < part.size(); ++i) bytes.at(offset + i) = part[i];
  return bytes;
}

/// The same bytes as the store takes and gives them.
inline char* as_info(std::vector<std::uint8_t>& bytes) {
  return reinterpret_cast<char*>(bytes.data());
}

/// What one node was asked, in the words of the trace.
inline std::vector<std::string> calls_on(const boardsim::Board& board, std::string_view node) {
  std::vector<std::string> calls;
  for (const boardsim::Call& call : board.trace()) {
    if (call.node == node) calls.push_back(call.text());
  }
  return calls;
}
