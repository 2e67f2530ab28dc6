// The calls of a recording with what their numbers stood for, as lines of text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "boardrec/session/recording.h"

namespace boardrec {

/// A call and what it was about.
struct NamedCall {
  const Record* record = nullptr;  ///< of the recording, which must outlive this
  /// Device node or path, "station" for the station's socket, of a select or poll one for each descriptor,
  /// of a mount node, folder and type; empty for sleeps. What would spoil a terminal stands as \xNN.
  std::string node{};
  bool in_trace = false;  ///< whether the simulated board has such calls in its trace
  /// For calls on a descriptor the number of the record that opened it, else kUnopened.
  std::size_t opened_by = kUnopened;

  static constexpr std::size_t kUnopened = SIZE_MAX;
};

/// All calls of a recording, in its order.
std::vector<NamedCall> named_calls(const Recording& recording);

/// The same as the simulated board's trace has them: only those that it has, and sleeps where they began.
std::vector<NamedCall> calls_of_trace(const Recording& recording);

/// The call without its time, as it stands in a trace: "ioctl /dev/qznio 0x40044d02 {0, 10000, 5000} = 0". A
/// result that a call did not have stands as "?".
std::string text(const NamedCall& call);

/// text() behind the seconds since recording began: "0.200000 open /dev/rtc = ok".
std::string timed_text(const NamedCall& call);

/// Seconds with six digits behind the point.
std::string seconds_text(std::uint64_t nanoseconds);

/// A text in which whatever is no printable ASCII stands as \xNN.
std::string printable(std::string_view text);

}  // namespace boardrec
