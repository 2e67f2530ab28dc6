// The steps that a unit goes through, as a plan file says them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "station/plan/pattern.h"

namespace t1station {

/// A number that a reply, the console or the clock tells, and what it may be.
struct Measure {
  enum class From { description, console, seconds };

  std::string name;
  From from = From::description;
  std::optional<Pattern> match;  ///< its first group is the number; not for seconds
  std::string unit;
  std::optional<double> low, high;  ///< the limits themselves are inside
};

/// What only a person can see.
struct Question {
  std::string zh, en;
  /// Both, for who reads it without having chosen a language.
  std::string text() const { return zh + " " + en; }
  bool operator==(const Question& other) const = default;
};

/// Begins the line of an attempt's description that says which question was answered no.
inline constexpr std::string_view kAnsweredNo = "answered no: ";

/// One test of a plan.
struct Step {
  std::string name;
  std::int32_t code = 0;
  std::optional<std::int32_t> parameter;
  double timeout = 0;         ///< seconds for a reply; the test's own where the plan names none
  int attempts = 1;           ///< the most, of which one must pass
  bool stop_on_fail = false;  ///< the steps behind it are not run unless an attempt passed
  bool always = false;        ///< runs even behind a stop
  std::optional<Question> confirm;
  std::vector<Measure> measures;
};

/// A plan that has been checked.
struct Plan {
  std::string id;  ///< SHA-256 of the file, in hexadecimal digits
  std::string name;
  std::string version;
  Pattern serial;                ///< the whole serial number must match
  std::optional<Pattern> build;  ///< the whole build line must match
  std::optional<int> max_runs;   ///< failed or error runs since the last pass, then a unit is refused
  std::vector<Step> steps;       ///< at least one
  std::string text;              ///< the file, byte for byte

  /// Whether a step takes numbers from the board's console.
  bool wants_console() const;
  /// Whether a step asks a person.
  bool wants_person() const;
  /// Seconds that the steps usually take on a healthy board, each tried once; nothing is known of codes
  /// outside the catalogue, and they count as none.
  double usual_seconds() const;
};

}  // namespace t1station
