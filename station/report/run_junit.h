// Stored runs as JUnit XML: a suite each, a test case for each attempt.
#pragma once

#include <string>
#include <string_view>

#include "station/records/rows.h"

namespace t1station {

/// What stands before and behind the suites.
std::string_view junit_header();
std::string_view junit_footer();

/// The suite of a run.
std::string junit_suite(const StoredRun& run);

}  // namespace t1station
