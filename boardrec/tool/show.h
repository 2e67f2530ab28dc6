// boardrec show: a recording as text, a line a call.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "boardrec/session/recording.h"
#include "boardrec/tool/bytes_text.h"

namespace boardrec {

/// What is shown of a recording.
struct ShowOptions {
  bool all = false;    ///< also calls that the simulated board's trace does not have
  bool bytes = false;  ///< what went in and came back, too
  TextForm form = TextForm::utf8;
  std::optional<std::uint16_t> thread;  ///< calls of this one only
  std::optional<double> from, to;       ///< calls that began then or later, or earlier; seconds
  std::string node;                     ///< calls on this one only
};

/// Writes the calls: as the simulated board's trace has them, or all in the recording's order, then each
/// behind its number in the recording and its thread. Throws UsageError when options choose and no call is
/// so.
void show(const Recording& recording, const ShowOptions& options, std::ostream& out);

}  // namespace boardrec
