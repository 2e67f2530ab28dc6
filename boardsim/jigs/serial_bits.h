// What a receiver makes of bytes on a serial line when it is set to another speed than their sender.
#pragma once

#include <string>
#include <string_view>

namespace boardsim {

/// Bits on the line for each byte: a start bit, eight data bits, a stop bit.
inline constexpr int kBitsPerByte = 10;

/// The bytes that a receiver at `heard_rate` bits per second reads when `bytes` are sent in one go at
/// `sent_rate`: it waits for a falling edge and samples the line in the middle of its own eight data bits.
/// The same bytes for equal rates, and for rates that differ by a few percent. Both rates are above 0.
std::string heard_at(std::string_view bytes, int sent_rate, int heard_rate);

}  // namespace boardsim
