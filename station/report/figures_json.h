// The figures of a line as JSON.
#pragma once

#include <string>

#include "station/figures/figures.h"

namespace t1station {

/// One document in UTF-8, without line ends; docs/line-http.md has its keys.
std::string figures_json(const Figures& figures);

}  // namespace t1station
