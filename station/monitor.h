// Shows everything that a board sends.
#pragma once

#include <cstddef>
#include <optional>
#include <ostream>

#include "station/clock.h"
#include "station/link.h"

namespace t1station {

/// When watching ends. Without limits only the operator or the board ends it.
struct MonitorLimits {
  std::optional<double> seconds;
  std::optional<std::size_t> records;
};

/// Shows each record with the seconds since the start, its kind and its texts, until a limit is reached.
/// Asks the board for nothing; with `quit` it sends the quit request at the end. A record that cannot be read
/// is shown as such and spoils the exit code. Returns an exit code: 0 at a limit, 2 when interrupted, 6 when
/// the board closed or sent anything unreadable.
int monitor(Link& link, const Clock& clock, const MonitorLimits& limits, bool quit, std::ostream& out);

}  // namespace t1station
