// Stored runs as a page to print: one self-contained file, without scripts.
#pragma once

#include <string>

#include "station/records/rows.h"

namespace t1station {

/// What stands before and behind the runs; `title` is a text.
std::string html_header(const std::string& title);
std::string html_footer();

/// A run with its verdict, its unit, its plan and every attempt, on paper pages of its own.
std::string html_run(const StoredRun& run);

}  // namespace t1station
