// How the central database is, as everybody may see it.
#pragma once

#include <cstdint>
#include <string>

namespace t1station {

/// What a line says of its central database.
struct CentralState {
  std::string state = "off";  ///< "off": there is none; "connected"; "waiting": out of reach, or it refuses
  std::int64_t behind = 0;    ///< ended runs that are not there yet

  bool operator==(const CentralState&) const = default;
};

}  // namespace t1station
