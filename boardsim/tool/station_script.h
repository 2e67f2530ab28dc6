// What a station does and when, as a file tells it: for a board whose time is virtual.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "boardsim/kernel/time.h"

namespace boardsim {

/// One thing that a station does.
struct StationMoment {
  enum class What : std::uint8_t {
    connect,  ///< a new connection; one that was open is left first
    send,     ///< `bytes`
    leave,    ///< closes the connection
    reset,    ///< breaks it
    end,      ///< of the session: the program's process ends
  };
  Time at{};  ///< since the board was switched on
  What what = What::end;
  std::string bytes{};
};

/// Reads a script: a line a moment, in their order, the seconds first and bytes as hexadecimal digits:
/// "12.500000 connect", "12.600000 send 0400ff", "90 leave", "90 reset", "95 end". Empty lines and those that
/// begin with # count for nothing; without an end it comes with the last moment. Throws
/// std::invalid_argument, which names file and line.
std::vector<StationMoment> read_station_script(const std::string& file);

}  // namespace boardsim
