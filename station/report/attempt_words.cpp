#include "station/report/attempt_words.h"

#include <algorithm>
#include <iterator>

#include "station/plan/measure.h"
#include "station/plan/plan.h"

namespace t1station {
namespace {

std::string failure_words(const std::vector<Measurement>& measurements, bool is_answered_no,
                          const std::string& said) {
  std::string words;
  const auto add = [&words](const std::string& trouble) {
    if (!trouble.empty()) words += (words.empty() ? "" : "; ") + trouble;
  };
  for (const Measurement& measurement : measurements) add(trouble_with(measurement));
  if (is_answered_no && said.find(kAnsweredNo) == std::string::npos) add("answered no");
  return words.empty() || said.empty() ? words + said : words + ": " + said;
}

}  // namespace

std::string failure_words(const Result& result) {
  return failure_words(result.measurements, result.answer == "no", result.description);
}

std::string failure_words(const StoredAttempt& attempt) {
  std::vector<Measurement> measurements;
  std::ranges::transform(attempt.measurements, std::back_inserter(measurements),
                         [](const StoredMeasurement& stored) {
                           return Measurement{stored.name, stored.value, stored.unit.value_or(""),
                                              stored.low,  stored.high,  stored.outcome};
                         });
  return failure_words(measurements, attempt.answer == "no", attempt.description.value_or(""));
}

}  // namespace t1station
