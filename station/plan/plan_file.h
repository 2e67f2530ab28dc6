// Plan files: TOML, read as strictly as a compiler reads.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "station/plan/plan.h"

namespace t1station {

/// A mistake in a plan.
struct PlanProblem {
  std::size_t line = 1, column = 1;
  std::string message;
};

/// A plan that cannot be used; all that is wrong with it.
class BadPlan : public std::runtime_error {
 public:
  BadPlan(std::string_view file, const std::vector<PlanProblem>& problems);
  /// "FILE:LINE:COLUMN: message", one for each problem, in their order in the file.
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  std::vector<std::string> lines_;
};

/// Reads a plan from the bytes of its file. Throws BadPlan, in which it is called `file`.
Plan parse_plan(std::string_view file, std::string text);

/// Reads a plan file. Throws BadPlan; a file that cannot be read is one, at 1:1.
Plan read_plan(const std::string& file);

}  // namespace t1station
