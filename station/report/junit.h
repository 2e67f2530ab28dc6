// The results of a run as JUnit XML, for build servers.
#pragma once

#include <string>

#include "station/run/result.h"

namespace t1station {

/// The report as JUnit XML in UTF-8: one suite, one case for each test. "Fail" is a `failure` with the
/// board's description; a missing reply or a broken connection is an `error`; what did not run is `skipped`.
std::string junit_report(const RunReport& report);

}  // namespace t1station
