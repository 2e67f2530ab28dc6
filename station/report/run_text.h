// Stored runs for people at a terminal.
#pragma once

#include <string>

#include "station/records/rows.h"

namespace t1station {

/// The heading of a list of runs, with the line's end.
std::string runs_heading();

/// One line of such a list. Nothing in it steers a terminal.
std::string runs_line(const StoredRun& run);

/// A whole run: what it was, and each attempt with its measurements.
std::string run_text(const StoredRun& run);

}  // namespace t1station
