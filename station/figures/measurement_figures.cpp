#include "station/figures/measurement_figures.h"

#include <algorithm>
#include <cmath>

#include "station/figures/capability.h"
#include "station/figures/histogram.h"
#include "station/figures/sample.h"

namespace t1station {

void MeasurementCounting::open(const Digest& digest) {
  digest_ = &digest;
  places_.clear();
  for (const Digest::Kind& kind : digest.kinds) {
    Name name;
    std::get<0>(name) = digest.text(kind.plan);
    std::get<1>(name) = digest.text(kind.step);
    std::get<2>(name) = digest.text(kind.name);
    if (kind.unit != Digest::kNone) std::get<3>(name) = digest.text(kind.unit);
    if ((kind.limits & Digest::kLow) != 0) std::get<4>(name) = kind.low;
    if ((kind.limits & Digest::kHigh) != 0) std::get<5>(name) = kind.high;
    const auto [found, is_new] = measurements_.try_emplace(name);
    Values& values = found->second;
    MeasurementFigures& figures = values.figures;
    if (is_new) {
      std::tie(figures.plan, figures.step, figures.name, figures.unit, figures.low, figures.high) = name;
    }
    const std::string_view outcome = digest.text(kind.outcome);
    std::int64_t* outside = nullptr;
    if (outcome == "not_found") outside = &figures.not_found;
    if (outcome == "low") outside = &figures.too_low;
    if (outcome == "high") outside = &figures.too_high;
    places_.push_back({&values, outside});
  }
}

void MeasurementCounting::add(const Digest::Run& run) {
  if (run.measurements == 0) return;
  runs_.emplace_back(digest_->text(run.id));
  for (std::size_t i = run.first_measured + run.measurements; i-- > run.first_measured;) {
    const Place& place = places_[digest_->measured[i]];
    Values& values = *place.values;
    values.is_in_window = true;
    if (place.outside) ++*place.outside;
    if (place.outside && values.last_outside != runs_.size()) {
      values.figures.outside.add(runs_.back());
      values.last_outside = runs_.size();
    }
    if (!std::isfinite(digest_->values[i])) continue;
    values.values.push_back(digest_->values[i]);
    values.runs.push_back(static_cast<std::uint32_t>(runs_.size() - 1));
  }
}

void MeasurementCounting::finish() {
  for (auto& [name, values] : measurements_) {
    MeasurementFigures& figures = values.figures;
    figures.values = static_cast<std::int64_t>(values.values.size());
    if (!values.is_in_window) continue;
    if (figures.values > 0) describe(values);
    figures_.measurements.push_back(std::move(figures));
  }
}

void MeasurementCounting::describe(Values& values) const {
  add_histogram(values);
  std::reverse(values.values.begin(), values.values.end());
  const Moments moments = moments_of(values.values);
  MeasurementFigures& figures = values.figures;
  figures.minimum = moments.minimum;
  figures.maximum = moments.maximum;
  figures.mean = moments.mean;
  if (moments.count > 1) figures.deviation = moments.deviation;
  figures.capability = capability_of(moments, figures.low, figures.high);
  figures.normality = normality_of(moments);
  figures.drift = drift_of(values.values, moments);
}

void MeasurementCounting::add_histogram(Values& values) const {
  const auto [smallest, largest] = std::minmax_element(values.values.begin(), values.values.end());
  const std::vector<double> ends = histogram_ends(*smallest, *largest);
  std::vector<HistogramBar>& bars = values.figures.histogram;
  for (std::size_t bar = 0; bar + 1 < ends.size(); ++bar) bars.push_back({ends[bar], ends[bar + 1], 0, {}});
  for (std::size_t i = 0; i < values.values.size(); ++i) {
    HistogramBar& bar = bars[histogram_bar(ends, values.values[i])];
    ++bar.values;
    if (bar.ids.size() == FoundRuns::kMostIds) continue;
    const std::string& run = runs_[values.runs[i]];
    if (bar.ids.empty() || bar.ids.back() != run) bar.ids.push_back(run);
  }
}

}  // namespace t1station
