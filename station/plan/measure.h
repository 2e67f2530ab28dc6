// Numbers in what a board said, and whether they are within their limits.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "station/plan/plan.h"

namespace t1station {

/// A number that was looked for in an attempt.
struct Measurement {
  std::string name;
  std::optional<double> value;  ///< nothing: not found
  std::string unit;
  std::optional<double> low, high;
  std::string outcome;  ///< "passed", "low", "high", "not_found"
  bool operator==(const Measurement& other) const = default;
};

/// Where the numbers of an attempt are looked for.
struct Findings {
  std::string_view description;  ///< of the reply, UTF-8; empty without one
  std::optional<std::string_view>
      console;         ///< what the board printed meanwhile, bytes; nothing without a console
  double seconds = 0;  ///< that the attempt took
};

/// Looks for one number. A description is searched as a whole, a console line by line, in its last 64 KiB,
/// each line's first 2048 bytes, its line end left out; the first place counts. What the group found there is
/// a number when it is an optional sign, digits, and an optional fraction; anything else is "not_found".
Measurement take_measurement(const Measure& measure, const Findings& findings);

/// What is wrong with a number, for people: "degrees 71.5 degC, above 60", "degrees not found". Empty when
/// nothing is.
std::string trouble_with(const Measurement& measurement);

/// A measured number for people, in six digits; in ten where six would make it one of its limits.
std::string shown_value(double value, std::optional<double> low, std::optional<double> high);

/// A number in the fewest digits that tell it, ten at most: "0.1", "60".
std::string shortest(double number);

}  // namespace t1station
