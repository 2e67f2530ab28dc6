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

/// How watching ended.
enum class Watched {
  to_the_limit,  ///< everything could be read
  interrupted,   ///< by the operator
  broken,        ///< the board closed, or something could not be read
};

/// Opens a connection and shows each record with the seconds since the first one, its kind and its texts,
/// until a limit is reached and banner and menu have come, or `out` takes no more. Asks the board for
/// nothing; with `quit` it sends the quit request at the end. A record that cannot be read is shown as such
/// and spoils what is returned. Throws as Opening::open() does.
Watched monitor(Opening& opening, const Clock& clock, const MonitorLimits& limits, bool quit,
                std::ostream& out);

}  // namespace t1station
