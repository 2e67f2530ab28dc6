// Helpers for the words in which faults are laid over a device.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace boardsim {

/// A whole number, decimal or 0x-hexadecimal. Throws std::invalid_argument for anything else or more than 32
/// bits.
std::uint32_t fault_number(std::string_view word);

/// Throws std::invalid_argument: these words are not understood, `expected` is.
[[noreturn]] void refuse_fault(const std::vector<std::string_view>& words, std::string_view expected);

}  // namespace boardsim
