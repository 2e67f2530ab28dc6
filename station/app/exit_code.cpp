#include "station/app/exit_code.h"

namespace t1station {

int exit_code_of(const RunReport& report) {
  if (report.results.empty()) return exit_code::kNothingSelected;
  if (report.count(Outcome::interrupted) > 0) return exit_code::kInterrupted;
  if (report.count(Outcome::timed_out) + report.count(Outcome::broken) > 0) return exit_code::kBroken;
  if (report.count(Outcome::failed) > 0) return exit_code::kFailed;
  // Tests that were left out, and no reason above: the run was stopped between two tests.
  return report.count(Outcome::not_run) > 0 ? exit_code::kInterrupted : exit_code::kPassed;
}

int exit_code_of(Verdict verdict) {
  switch (verdict) {
    case Verdict::passed:
      return exit_code::kPassed;
    case Verdict::failed:
      return exit_code::kFailed;
    case Verdict::stopped:
      return exit_code::kInterrupted;
    case Verdict::error:
    case Verdict::interrupted:
      break;
  }
  return exit_code::kBroken;
}

}  // namespace t1station
