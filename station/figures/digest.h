// Runs, as much of them as figures need, in little room: a day of a line is one of these.
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// Texts, one behind the other.
struct TextList {
  std::string letters;
  std::vector<std::uint32_t> ends;  ///< of each text in `letters`

  std::string_view at(std::size_t place) const {
    const std::size_t begin = place == 0 ? 0 : ends[place - 1];
    return {letters.data() + begin, ends[place] - begin};
  }
  void add(std::string_view text) {
    letters += text;
    ends.push_back(static_cast<std::uint32_t>(letters.size()));
  }
};

/// Runs in the order in which they started, with the attempts of those production runs that have ended. All
/// texts stand once, in a list; a place in it is a text.
struct Digest {
  using Text = std::uint32_t;
  /// Stands for NULL.
  static constexpr Text kNone = 0xFFFFFFFFU;
  /// Of Run::flags.
  static constexpr std::uint32_t kCheck = 1, kRetried = 2, kFirst = 4;
  /// Of Kind::limits.
  static constexpr std::uint32_t kLow = 1, kHigh = 2;

  struct Run {
    Text id, serial, started, plan, station, slot, verdict;
    std::uint32_t flags;  ///< kFirst: no production run of this unit under this plan's name started earlier
    std::uint32_t first_attempt, attempts;       ///< place and number among `attempts`
    std::uint32_t first_measured, measurements;  ///< likewise among `measured`
  };
  /// What attempts have in common.
  struct Try {
    Text plan, step, outcome;
    std::int32_t index, number;
    auto operator<=>(const Try&) const = default;
  };
  struct Attempt {
    std::uint32_t tried;  ///< place among `tries`
    Text words;           ///< of one that did not pass
    double seconds;       ///< not a number: none
  };
  /// What measurements have in common.
  struct Kind {
    Text plan, step, name, unit, outcome;
    std::uint32_t limits;
    double low, high;  ///< 0 without a limit
    auto operator<=>(const Kind&) const = default;
  };

  TextList texts;
  std::vector<Run> runs;
  std::vector<Try> tries;
  std::vector<Attempt> attempts;  ///< a run's by step and number
  std::vector<Kind> kinds;
  std::vector<std::uint32_t> measured;  ///< places among `kinds`, in the order of the attempts
  std::vector<double> values;           ///< of `measured`; not a number: none

  std::string_view text(Text place) const { return place == kNone ? std::string_view() : texts.at(place); }
};

/// The digest as bytes, for this kind of PC.
std::string bytes_of(const Digest& digest);

/// What bytes_of() gave. False, and nothing that can be used, for any other bytes.
bool read_bytes(std::string_view bytes, Digest& digest);

}  // namespace t1station
