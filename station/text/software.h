// What this program calls itself.
#pragma once

#include <string>

#include "version/version.h"

namespace t1station {

/// Name and version of this program, for records and reports: "t1station 1.0.0".
inline std::string software() {
  return std::string("t1station ") + version::text();
}

}  // namespace t1station
