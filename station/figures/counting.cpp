#include "station/figures/counting.h"

#include <utility>

namespace t1station {

void FigureCounting::add(const Digest& digest) {
  steps_.open(digest);
  measurements_.open(digest);
  for (auto run = digest.runs.rbegin(); run != digest.runs.rend(); ++run) {
    if (!is_in_window(digest, *run)) continue;
    runs_.add(digest, *run);
    steps_.add(*run);
    measurements_.add(*run);
  }
}

bool FigureCounting::is_in_window(const Digest& digest, const Digest::Run& run) const {
  const FigureWindow& window = figures_.window;
  if (window.plan && digest.text(run.plan) != *window.plan) return false;
  if (window.batch && !digest.text(run.serial).starts_with(*window.batch)) return false;
  const std::string_view started = digest.text(run.started);
  if (started.empty()) return true;
  return (!window.from || started >= *window.from) && (!window.to || started < *window.to);
}

Figures FigureCounting::finish(std::vector<PlanNamed> plans) {
  figures_.plans = std::move(plans);
  runs_.finish();
  steps_.finish();
  measurements_.finish();
  return std::move(figures_);
}

}  // namespace t1station
