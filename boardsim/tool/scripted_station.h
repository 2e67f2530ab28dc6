// A station of the board's own time, which does what a script says.
#pragma once

#include <string>
#include <vector>

#include "boardsim/board.h"
#include "boardsim/tool/station_script.h"

namespace boardsim {

/// Lets a station do all this at the moments of the board's time, over connections to the program at this
/// loopback address. What the program sends is read and dropped. The process ends with status 0 at the
/// script's end.
void play_station(Board& board, const std::vector<StationMoment>& moments, const std::string& address);

}  // namespace boardsim
