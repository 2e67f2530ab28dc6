// The results of a run as JSON.
#pragma once

#include <string>

#include "station/run/result.h"

namespace t1station {

/// The report as an indented JSON object in UTF-8, with a line end. The fields are described in
/// docs/station.md.
std::string json_report(const RunReport& report);

}  // namespace t1station
