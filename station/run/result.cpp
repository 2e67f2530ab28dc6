// Counting results and naming them.
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

}  // namespace t1station
