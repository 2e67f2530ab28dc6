// boardrec diff: what is different in two sessions.
#pragma once

#include <optional>
#include <ostream>

#include "boardrec/session/recording.h"

namespace boardrec {

/// Writes what was asked and answered differently in two sessions: for each request of the station and each
/// node how many calls, and the first of them as it was in both. Threads beside the main one, whose calls
/// depend on how long a session took, are compared over the whole session, each kind of their calls once.
/// `tolerance`: calls that are alike and whose durations differ by more seconds are different too; nothing:
/// durations are not looked at. Whether there is a difference.
bool show_difference(const Recording& a, const Recording& b, std::optional<double> tolerance,
                     std::ostream& out);

}  // namespace boardrec
