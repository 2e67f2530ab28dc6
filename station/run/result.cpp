// Counting results, naming them, and the exit code that follows from them.
#include "station/run/result.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace t1station {
namespace {

// In the order of the enumeration.
constexpr std::array<OutcomeTexts, 6> kOutcomeTexts{{
    {Outcome::passed, "passed", "Pass", "passed"},
    {Outcome::failed, "failed", "Fail", "failed"},
    {Outcome::timed_out, "timed_out", "no reply", "without reply"},
    {Outcome::broken, "broken", "broken", "broken"},
    {Outcome::interrupted, "interrupted", "interrupted", "interrupted"},
    {Outcome::not_run, "not_run", "not run", "not run"},
}};

}  // namespace

std::span<const OutcomeTexts> outcomes() {
  return kOutcomeTexts;
}

std::string_view outcome_name(Outcome outcome) {
  return kOutcomeTexts.at(static_cast<std::size_t>(outcome)).name;
}

std::string_view outcome_label(Outcome outcome) {
  return kOutcomeTexts.at(static_cast<std::size_t>(outcome)).label;
}

std::size_t RunReport::count(Outcome outcome) const {
  return static_cast<std::size_t>(std::count_if(
      results.begin(), results.end(), [outcome](const Result& result) { return result.outcome == outcome; }));
}

double RunReport::seconds() const {
  return std::accumulate(results.begin(), results.end(), 0.0,
                         [](double sum, const Result& result) { return sum + result.seconds; });
}

int exit_code_of(const RunReport& report) {
  if (report.results.empty()) return exit_code::kNothingSelected;
  if (report.count(Outcome::interrupted) > 0) return exit_code::kInterrupted;
  if (report.count(Outcome::timed_out) + report.count(Outcome::broken) > 0) return exit_code::kBroken;
  if (report.count(Outcome::failed) > 0) return exit_code::kFailed;
  // Tests that were left out, and no reason above: the run was stopped between two tests.
  return report.count(Outcome::not_run) > 0 ? exit_code::kInterrupted : exit_code::kPassed;
}

}  // namespace t1station
