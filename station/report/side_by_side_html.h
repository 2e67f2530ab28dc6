// What is compared with its neighbours: slots, and batches of units.
#pragma once

#include <pugixml.hpp>

#include "station/report/figure_cells.h"
#include "station/report/html.h"

namespace t1station {

/// Adds each slot's share of runs that did not pass, beside that of the others.
void add_slots(pugi::xml_node to, const Figures& figures, Wording say, const FigureRuns& runs);

/// Adds each batch's yield beside that of the others, unless each of them is one unit. `link` leads to one
/// batch.
void add_batches(pugi::xml_node to, const Figures& figures, Wording say, const FigureRuns& runs,
                 const WindowLink& link);

}  // namespace t1station
