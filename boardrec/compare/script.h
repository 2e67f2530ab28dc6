// What the station of a recording did, as a script that a simulated board's station follows.
#pragma once

#include <string>

#include "boardrec/session/recording.h"

namespace boardrec {

/// A line a moment, seconds since recording began in front: "1.000000 connect" just before a connection was
/// accepted, "1.500000 send 0a0b" where its bytes were received, "9.000000 leave" or "9.000000 reset" where
/// the program found that it had gone, and "129.000000 end", which leaves the program two minutes more than
/// it had. Times are whole microseconds. Throws std::invalid_argument when bytes of the station are not in
/// the recording.
std::string station_script(const Recording& recording);

}  // namespace boardrec
