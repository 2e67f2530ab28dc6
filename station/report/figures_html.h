// The figures of a line as tables and plots of a page.
#pragma once

#include <functional>
#include <pugixml.hpp>
#include <string>

#include "station/figures/figures.h"
#include "station/records/run_filter.h"
#include "station/report/html.h"

namespace t1station {

/// The address of a list of runs.
using RunsLink = std::function<std::string(const RunFilter& filter)>;
/// The address of the figures of another window.
using WindowLink = std::function<std::string(const FigureWindow& window)>;
/// Where numbers and batches lead; on paper nowhere.
struct FigureLinks {
  RunsLink runs;
  WindowLink window;
};

/// Adds all figures. Each number is a link to its runs, whose attribute data-runs says how many these are.
void add_figures(pugi::xml_node to, const Figures& figures, Wording say, const FigureLinks& links);

}  // namespace t1station
