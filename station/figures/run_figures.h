// Runs, units, yields and slots.
#pragma once

#include "station/figures/figures.h"

namespace t1station {

/// Fills in what is found from runs alone. Throws RecordsBroken.
void find_run_figures(FigureDatabase& database, Figures& figures);

}  // namespace t1station
