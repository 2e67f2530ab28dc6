#include "station/figures/measurement_figures.h"

#include <algorithm>
#include <cmath>
#include <utility>

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
    Place place{&values};
    if (outcome == "not_found")
      place = {&values, &figures.not_found, &figures.not_found_runs, &values.last_not_found};
    if (outcome == "low") place = {&values, &figures.too_low, &figures.too_low_runs, &values.last_low};
    if (outcome == "high") place = {&values, &figures.too_high, &figures.too_high_runs, &values.last_high};
    places_.push_back(place);
  }
}

void MeasurementCounting::add(const Digest::Run& run) {
  if (run.measurements == 0) return;
  runs_.emplace_back(digest_->text(run.id));
  const auto is_new = [this](std::size_t& last) { return std::exchange(last, runs_.size()) != runs_.size(); };
  for (std::size_t i = run.first_measured + run.measurements; i-- > run.first_measured;) {
    const Place& place = places_[digest_->measured[i]];
    Values& values = *place.values;
    values.is_in_window = true;
    if (place.outside) {
      ++*place.outside;
      if (is_new(*place.last)) ++*place.outside_runs;
      if (is_new(values.last_outside)) values.figures.outside.add(runs_.back());
    }
    if (!std::isfinite(digest_->values[i])) continue;
    if (is_new(values.last_found)) ++values.figures.runs;
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
  for (std::size_t bar = 0; bar + 1 < ends.size(); ++bar)
    bars.push_back({ends[bar], ends[bar + 1], 0, 0, {}});
  std::vector<std::size_t> last(bars.size());  // run that is counted in a bar already, from 1
  for (std::size_t i = 0; i < values.values.size(); ++i) {
    const std::size_t place = histogram_bar(ends, values.values[i]);
    HistogramBar& bar = bars[place];
    ++bar.values;
    if (std::exchange(last[place], values.runs[i] + 1U) == values.runs[i] + 1U) continue;
    ++bar.runs;
    if (bar.ids.size() < FoundRuns::kMostIds) bar.ids.push_back(runs_[values.runs[i]]);
  }
}

}  // namespace t1station
