// The plans of one slot, taken up anew when their files change.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "station/line/line_file.h"
#include "station/plan/plan.h"

namespace t1station {

/// Plans that slots may share.
using Plans = std::vector<std::shared_ptr<const Plan>>;

/// What a slot's plan files say at one moment.
struct PlanSet {
  Plans plans;                       ///< in the order of the files; none when there is trouble
  std::vector<std::string> trouble;  ///< "FILE:LINE:COLUMN: message" each; empty: all plans can be used

  /// The first plan whose serial numbers are like this one; null when there is none.
  std::shared_ptr<const Plan> plan_for(std::string_view serial) const;
  /// All of trouble in one line, for people.
  std::string trouble_text() const;
};

/// Reads a slot's plan files. One that says what a plan of `known` says is that plan, the first of them: it
/// is not checked again. A plan that wants what the slot has not is trouble, too, at the place of `plan` in
/// the line's file `line_path`.
PlanSet read_plan_set(const SlotFile& slot, const std::string& line_path, const Plans& known);

}  // namespace t1station
