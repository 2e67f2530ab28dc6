// Steps, and why they did not pass.
#pragma once

#include "station/figures/figures.h"

namespace t1station {

/// Fills in `steps` and `failures`. Throws RecordsBroken.
void find_step_figures(FigureDatabase& database, Figures& figures);

}  // namespace t1station
