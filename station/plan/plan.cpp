#include "station/plan/plan.h"

#include <algorithm>
#include <numeric>

#include "catalogue/catalogue.h"

namespace t1station {

bool Plan::wants_console() const {
  const auto reads_console = [](const Measure& measure) { return measure.from == Measure::From::console; };
  return std::any_of(steps.begin(), steps.end(), [&](const Step& step) {
    return std::any_of(step.measures.begin(), step.measures.end(), reads_console);
  });
}

bool Plan::wants_person() const {
  return std::any_of(steps.begin(), steps.end(), [](const Step& step) { return step.confirm.has_value(); });
}

double Plan::usual_seconds() const {
  return std::accumulate(steps.begin(), steps.end(), 0.0, [](double sum, const Step& step) {
    const catalogue::Test* test = catalogue::find_test(step.code);
    return sum + (test ? test->seconds : 0);
  });
}

}  // namespace t1station
