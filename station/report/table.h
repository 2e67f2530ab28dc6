// Tables on standard output: the results of a run, and the list of tests.
#pragma once

#include <optional>
#include <string>

#include "station/run/result.h"

namespace t1station {

/// The results as a table in UTF-8, with columns for the test's short name, its code, result, seconds, the
/// board's own name of it and description, and a line of totals behind it. Columns are measured in terminal
/// columns. Descriptions of several lines stay in their column.
std::string results_table(const RunReport& report, bool color);

/// The tests: code, hexadecimal code, short name, usual seconds, title. All of them in the order of their
/// codes, or those that a family is given, in the order in which it goes through them.
std::string tests_table(const std::optional<std::string>& family = std::nullopt);

}  // namespace t1station
