#include "station/figures/measurement_figures.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "station/figures/capability.h"
#include "station/figures/histogram.h"
#include "station/figures/sample.h"
#include "station/figures/window_query.h"

namespace t1station {
namespace {

/// Columns of the SELECT, in its order.
enum Column { kRun, kPlan, kStep, kName, kUnit, kLow, kHigh, kValue, kOutcome };

WindowQuery measurements_query(const FigureWindow& window) {
  return {window,
          "run.id, plan.name, attempt.step, measurement.name, measurement.unit, measurement.low, "
          "measurement.high, measurement.value, measurement.outcome",
          "JOIN attempt ON attempt.run_id = run.id JOIN measurement ON measurement.attempt_id = attempt.id",
          "run.kind = 'production' AND run.verdict IS NOT NULL",
          ", attempt.step_index DESC, attempt.number DESC, measurement.position DESC"};
}

std::optional<double> real_or_nothing(const FigureRow& row, int column) {
  return row.is_null(column) ? std::nullopt : std::optional(row.real(column));
}

std::optional<std::string> text_or_nothing(const FigureRow& row, int column) {
  return row.is_null(column) ? std::nullopt : std::optional(std::string(row.text(column)));
}

/// What is measured, against which limits.
using Name = std::tuple<std::string, std::string, std::string, std::optional<std::string>,
                        std::optional<double>, std::optional<double>>;

/// Values of one measurement, newest first, and the runs that they are of.
struct Values {
  MeasurementFigures figures;
  std::vector<double> values;
  std::vector<std::size_t> runs;  ///< for each value, in the list of all runs
  std::size_t last_outside = 0;   ///< run that is counted as outside already, from 1
};

/// Takes measurements, newest runs first.
class Counting {
 public:
  void add(const FigureRow& row) {
    if (runs_.empty() || row.text(kRun) != runs_.back()) runs_.emplace_back(row.text(kRun));
    Values& values = values_of(row);
    MeasurementFigures& figures = values.figures;
    const std::string_view outcome = row.text(kOutcome);
    if (outcome == "not_found") ++figures.not_found;
    if (outcome == "low") ++figures.too_low;
    if (outcome == "high") ++figures.too_high;
    if (outcome != "passed" && values.last_outside != runs_.size()) {
      figures.outside.add(runs_.back());
      values.last_outside = runs_.size();
    }
    const double value = row.real(kValue);
    if (row.is_null(kValue) || !std::isfinite(value)) return;
    values.values.push_back(value);
    values.runs.push_back(runs_.size() - 1);
  }

  void finish(Figures& figures) {
    for (auto& [name, values] : measurements_) {
      describe(values);
      figures.measurements.push_back(std::move(values.figures));
    }
  }

 private:
  Values& values_of(const FigureRow& row) {
    Name name{row.text(kPlan),
              row.text(kStep),
              row.text(kName),
              text_or_nothing(row, kUnit),
              real_or_nothing(row, kLow),
              real_or_nothing(row, kHigh)};
    const auto [found, is_new] = measurements_.try_emplace(name);
    MeasurementFigures& figures = found->second.figures;
    if (is_new) {
      std::tie(figures.plan, figures.step, figures.name, figures.unit, figures.low, figures.high) = name;
    }
    return found->second;
  }

  void describe(Values& values) {
    MeasurementFigures& figures = values.figures;
    figures.values = static_cast<std::int64_t>(values.values.size());
    if (values.values.empty()) return;
    add_histogram(values);
    std::reverse(values.values.begin(), values.values.end());
    const Moments moments = moments_of(values.values);
    figures.minimum = moments.minimum;
    figures.maximum = moments.maximum;
    figures.mean = moments.mean;
    if (moments.count > 1) figures.deviation = moments.deviation;
    figures.capability = capability_of(moments, figures.low, figures.high);
    figures.normality = normality_of(moments);
    figures.drift = drift_of(values.values, moments);
  }

  void add_histogram(Values& values) {
    const auto [smallest, largest] = std::minmax_element(values.values.begin(), values.values.end());
    const std::vector<double> ends = histogram_ends(*smallest, *largest);
    std::vector<HistogramBar>& bars = values.figures.histogram;
    for (std::size_t bar = 0; bar + 1 < ends.size(); ++bar) bars.push_back({ends[bar], ends[bar + 1], 0, {}});
    for (std::size_t i = 0; i < values.values.size(); ++i) {
      HistogramBar& bar = bars[histogram_bar(ends, values.values[i])];
      ++bar.values;
      const std::string& run = runs_[values.runs[i]];
      const bool is_known = !bar.ids.empty() && bar.ids.back() == run;
      if (!is_known && bar.ids.size() < FoundRuns::kMostIds) bar.ids.push_back(run);
    }
  }

  std::vector<std::string> runs_;
  std::map<Name, Values> measurements_;
};

}  // namespace

void find_measurement_figures(FigureDatabase& database, Figures& figures) {
  const WindowQuery query = measurements_query(figures.window);
  Counting counting;
  database.rows(query.sql, query.parameters, [&counting](const FigureRow& row) { counting.add(row); });
  counting.finish(figures);
}

}  // namespace t1station
