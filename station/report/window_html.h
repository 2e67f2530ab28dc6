// The report of a window, a shift for example: figures, plots, and the runs that did not pass.
#pragma once

#include <string>

#include "station/figures/figures.h"
#include "station/records/reader.h"
#include "station/report/html.h"

namespace t1station {

/// What the units of a batch have in common, in words.
std::string batch_words(const std::string& batch, Wording say);

/// Adds what the figures are of: the window, the plan, the batch.
void add_window(pugi::xml_node to, const FigureWindow& window, Wording say);

/// One self-contained page, to read without scripts and to print. `made` is the time of its making.
std::string window_html(const Figures& figures, RecordsReader& records, const std::string& made,
                        Language language);

}  // namespace t1station
