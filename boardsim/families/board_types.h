// Which device type codes are boards of one kind, where more than one part of the board goes by it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

namespace boardsim {

inline constexpr std::uint32_t kKBoards[] = {0x960B, 0x9B05, 0x960F, 0x960E, 0x9B08, 0x9B09, 0x9B0A, 0x970F,
                                             0x9715, 0x9713, 0x9614, 0x9615, 0x9716, 0x9725, 0x9726};
inline constexpr std::uint32_t k65xxBoards[] = {0x9C0A};
inline constexpr std::uint32_t kMaBoards[] = {0xA6001, 0xA6002, 0xA6003, 0xA6004};
/// The boards with an alarm driver and an iris driver of their own: 68xx, and RKD as its relative.
inline constexpr std::uint32_t kDriverBoards[] = {0x27252, 0x27254, 0x9A01,  0x9A03,
                                                  0xA6005, 0xA6006, 0xA60A0, 0xA60A3};

/// Whether a device type code is one of `boards`.
constexpr bool is_one_of(std::span<const std::uint32_t> boards, std::uint32_t type) {
  return std::ranges::find(boards, type) != boards.end();
}

}  // namespace boardsim
