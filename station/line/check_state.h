// Where a slot stands with its point check: whether it has shown lately that it can tell good from bad.
#pragma once

#include <string>

#include "station/line/line_file.h"
#include "station/records/records.h"

namespace t1station {

/// Whether this unit is one that slots are checked with.
bool is_check_unit(const LineFile& line, const std::string& serial);

/// The checks of one slot. Times are as record_time() writes them.
class CheckState {
 public:
  /// `check` must outlive it.
  explicit CheckState(const PointCheck& check) : check_(check) {}

  /// A run of a check unit has ended. Returns what is wrong with its verdict, for people: a good unit that
  /// did not pass, a bad one that did not fail. Empty: nothing is.
  std::string add(const std::string& serial, std::string_view verdict, const std::string& ended);
  /// Whether no complete check ended behind `since`.
  bool is_due(const std::string& since) const { return complete_ < since; }
  /// What a slot whose check is due says of it: which check units are still to be tested.
  std::string due_text() const;

 private:
  const PointCheck& check_;
  bool has_passed_ = false, has_failed_ = false;  // since the last complete check and the last wrong result
  std::string complete_;                          // when the last complete check ended; empty: none
};

}  // namespace t1station
