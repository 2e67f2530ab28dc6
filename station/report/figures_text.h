// The figures of a line as a terminal shows them.
#pragma once

#include <string>

#include "station/figures/figures.h"

namespace t1station {

/// Tables with bars, in UTF-8, measured in terminal columns; all that a board said is in one line each.
std::string figures_text(const Figures& figures);

}  // namespace t1station
