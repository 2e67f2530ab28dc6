// Shows everything that a board sends.
#pragma once

#include <cstddef>
#include <optional>
#include <ostream>

#include "station/link/clock.h"
#include "station/run/opening.h"

namespace t1station {

/// When watching ends: seconds since the first record, number of records. Without limits only the operator or
/// the board ends it.
struct MonitorLimits {
  std::optional<double> seconds;
  std::optional<std::size_t> records;
};

/// Opens a connection and shows each record with the seconds since the first one, its kind and its texts,
/// until a limit is reached and banner and menu have come, or `out` takes no more. Asks the board for
/// nothing; with `quit` it sends the quit request at the end. A record that cannot be read is shown as such
/// and spoils the exit code. Returns an exit code: 0 at a limit, 2 when interrupted, 6 when the board closed
/// or sent anything unreadable. Throws as Opening::open() does.
int monitor(Opening& opening, const Clock& clock, const MonitorLimits& limits, bool quit, std::ostream& out);

}  // namespace t1station
