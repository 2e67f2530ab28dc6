// The RS485 fixtures: which port's sender is wired to which port's receiver. Tables only; rs485_lines.h
// carries the bytes.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "boardsim/families/families.h"

namespace boardsim {

/// Ports 1 to 5 are /dev/uart1 to /dev/uart5.
inline constexpr unsigned kRs485Ports = 5;
/// Instead of a port: whatever else the fixture has on the line.
inline constexpr unsigned kRs485Device = 0;

/// A pair of wires, from a sender to a receiver.
struct Rs485Pair {
  unsigned from, to;
  bool operator==(const Rs485Pair&) const = default;
};

/// What a fixture has besides wires.
enum class Rs485Peer : std::uint8_t {
  nobody,
  partner,   ///< plays the station's part of the echo test by itself
  terminal,  ///< a serial device of the PC, for a person or a station who plays it
};

/// One fixture.
struct Rs485Fixture {
  std::string_view name;
  std::span<const Rs485Pair> pairs;
  Rs485Peer peer = Rs485Peer::nobody;
};

std::span<const Rs485Fixture> rs485_fixtures();

/// The fixture that the RS485 test of a board needs.
const Rs485Fixture& rs485_fixture_for(const Hardware& board);

}  // namespace boardsim
