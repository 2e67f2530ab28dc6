// Measured values.
#pragma once

#include "station/figures/figures.h"

namespace t1station {

/// Fills in `measurements`. Throws RecordsBroken.
void find_measurement_figures(FigureDatabase& database, Figures& figures);

}  // namespace t1station
