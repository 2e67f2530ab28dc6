// Tables on standard output: the results of a run, the list of tests, the steps of a plan.
#pragma once

#include <optional>
#include <string>

#include "station/plan/plan.h"
#include "station/run/result.h"

namespace t1station {

/// The results as a table in UTF-8, with columns for the test's short name, its code, result, seconds, the
/// board's own name of it and description, and a line of totals behind it. Columns are measured in terminal
/// columns. Descriptions of several lines stay in their column.
std::string results_table(const RunReport& report, bool color);

/// The tests: code, hexadecimal code, short name, usual seconds, title. All of them in the order of their
/// codes, or those that a family is given, in the order in which it goes through them.
std::string tests_table(const std::optional<std::string>& family = std::nullopt);

/// The steps of a plan: name, test with its parameter, code, attempts, usual seconds, and what else is said
/// of it; a line behind them counts steps and seconds.
std::string plan_table(const Plan& plan);

}  // namespace t1station
