// The factory jigs: what is wired to what, by board and test. Tables only; bench.h makes levels of them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "boardsim/families/families.h"

namespace boardsim {

/// How the program drives an output.
enum class Driver : std::uint8_t { fpga, alarm, gpio };

/// An input terminal of the board: it reads high unless something pulls it low.
struct JigInput {
  std::string_view name;  ///< as printed on the board: "T1", "SYNC"
  unsigned line;          ///< GPIO line that reads it
  unsigned other_line{};  ///< the line on boards with other input lines; 0: the same one
};

/// An output of the board, a relay. Its coil is driven while any bit of `mask` is set where it is driven
/// from.
struct JigOutput {
  std::string_view name;  ///< "F1", "A1"
  Driver driver;
  std::uint32_t number;   ///< FPGA register or GPIO line; unused for the alarm driver
  std::uint32_t mask;     ///< of a register or of the alarm state; 1 for a line
  bool inverted = false;  ///< driven while all bits of the mask are clear
};

/// A wire from an input to ground through the contacts of one or more outputs in a row, the first of them at
/// the input: the input is low while all of them conduct. Inputs at the same contact are joined there.
/// A contact conducts while its output is driven; one with '/' before its name conducts while it is not. An
/// input may have several wires.
struct JigWire {
  std::string_view input;
  std::array<std::string_view, 3> contacts;
};

/// One jig, plugged into one kind of board.
struct Jig {
  std::string_view name;  ///< what it is for: "5in3out"; jigs of different boards may share it
  std::span<const JigInput> inputs;
  std::span<const JigOutput> outputs;
  std::span<const JigWire> wires;
  bool needs_test_control = true;  ///< outputs reach it only while test control is on
};

/// What a program does that tells which jig the station would have plugged in.
enum class Sign : std::uint8_t {
  fpga_written,   ///< writes FPGA register `number` since test control was switched on
  level_written,  ///< the same, on a board with level inputs
  relay_driven,   ///< sets it to anything but 0
  alarm_set,      ///< sets alarms through the driver
  line_driven,    ///< drives GPIO line `number`, or makes it an output
  always,         ///< nothing in particular
};

/// One row: on boards with such alarms (without: on all), after this sign, this jig. The first row that fits
/// decides.
struct JigChoice {
  std::optional<Alarms> alarms;
  Sign sign;
  std::uint32_t number;
  const Jig& jig;
};

std::span<const JigChoice> jig_choices();

/// Whether a row is for this board.
bool fits(const JigChoice& choice, const Hardware& board);
/// The line that reads an input on this board.
unsigned line_of(const JigInput& input, const Hardware& board);

}  // namespace boardsim
