// Which runs somebody wants.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "station/records/database.h"

namespace t1station {

/// A step that a run which has ended went through.
struct StepFilter {
  std::string name;
  /// What an attempt of it was: an outcome; "not_passed"; "repeated", when there was a second one; "lost",
  /// when the last one did not pass; "silent", when besides the board said nothing. Empty: whatever it was.
  std::string attempt;
  std::optional<std::string> words;  ///< with "lost": what the board said, as words_id() names it
  std::optional<double> lasted{};    ///< such an attempt took so many seconds or more
};

/// A measurement of that step.
struct MeasuredFilter {
  std::string name;
  std::string unit;                 ///< empty: without one
  std::optional<double> low, high;  ///< its limits; nothing: without one
  /// "low", "high", "not_found", "outside" for any of these, or "found", when there is a value. Empty:
  /// whatever it was.
  std::string outcome;
  std::optional<double> at_least, below, at_most;  ///< of the value
};

/// Which runs are wanted; a field without a value leaves none out.
struct RunFilter {
  std::optional<std::string> id, serial;
  std::vector<std::string> ids, serials;     ///< one of these; empty: any
  std::optional<std::string> batch;          ///< the serial number begins with it
  std::optional<std::string> serial_part;    ///< stands in the serial number, as capitals or as small letters
  std::vector<std::string> verdicts;         ///< one of these; "open" for a run that has no end
  std::optional<std::string> plan, kind;     ///< a plan's name, of any version; "production" or "check"
  std::optional<std::string> station, slot;  ///< an empty slot: without one
  std::optional<std::string> from, to;  ///< of `started`, as whole_time() gives them; `to` itself is outside
  bool is_first = false;        ///< its unit's first production run of all times under the plan's name
  bool is_last = false;         ///< its unit's last production run there before `to`
  std::optional<bool> retried;  ///< of those that have ended
  std::optional<bool> at_once;  ///< the same: whether it passed without a second attempt
  std::optional<StepFilter> step;
  std::optional<MeasuredFilter> measured;  ///< needs `step`
  std::optional<std::string> before;       ///< a run's id: only those that started before it
  std::optional<int> limit;                ///< the most runs
  bool newest_first = false;
};

/// A short name for what a board said, 16 hexadecimal digits, of words as word_kind() gives them: these may
/// be long, and of any bytes.
std::string words_id(std::string_view kind);

/// A SELECT of load_run_row()'s columns, and what is bound to it.
struct RunQuery {
  std::string sql;
  std::vector<Value> values;
};

/// What a filter asks of the tables; needs the function words_id() on the connection, which takes what the
/// board said.
RunQuery query_of(const RunFilter& filter);

}  // namespace t1station
