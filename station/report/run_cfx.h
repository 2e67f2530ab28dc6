// Stored runs as messages of the connected factory: one "UnitsTested" a line.
#pragma once

#include <string>

#include "station/records/rows.h"

namespace t1station {

/// The message of a run, with its line's end; empty for a run that has not ended. Exported twice it is the
/// same message, by its UniqueID too.
std::string cfx_message(const StoredRun& run);

}  // namespace t1station
