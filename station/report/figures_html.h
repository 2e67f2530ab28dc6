// The figures of a line as tables and plots of a page.
#pragma once

#include <pugixml.hpp>
#include <string>

#include "station/figures/figures.h"
#include "station/report/html.h"
#include "station/report/plots.h"

namespace t1station {

/// Where figures lead to; on paper nowhere.
struct FigureLinks {
  RunsLink runs;  ///< the runs with these ids
  /// All runs of the window of a kind, "production" or "check", and a verdict; "": whatever it is.
  std::function<std::string(const std::string& kind, const std::string& verdict)> window;
};

/// Adds all figures, each with a link to its runs where `links` has one.
void add_figures(pugi::xml_node to, const Figures& figures, Wording say, const FigureLinks& links);

}  // namespace t1station
