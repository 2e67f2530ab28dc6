// Runs of a database in little room.
#pragma once

#include "station/figures/digest.h"
#include "station/figures/figures.h"

namespace t1station {

/// What the figures of a window need. Run::started is empty unless `has_times`, which a station's own file
/// allows. Throws RecordsBroken.
Digest read_digest(FigureDatabase& database, const FigureWindow& window, bool has_times);

}  // namespace t1station
