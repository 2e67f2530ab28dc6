// What a command does once its words were understood.
#pragma once

#include <functional>

#include "station/app/app.h"

namespace t1station {

/// Returns the exit code.
using Action = std::function<int(const Environment&)>;

}  // namespace t1station
