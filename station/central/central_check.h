// Whether a central database still holds what stations sent.
#pragma once

#include <optional>
#include <string>

#include "station/central/postgres.h"
#include "station/records/check.h"

namespace t1station {

/// Looks at every station's chain of runs and events, every hash over the rows as they are there, plans
/// against their ids, and references, all as of one moment. `head`: a hash that must be in a chain. Throws
/// CentralTrouble; RecordsRefused when there are no tables, or of another version.
CheckReport check_central(const std::string& url, const std::optional<std::string>& head,
                          const CentralPatience& patience, int stop);

}  // namespace t1station
