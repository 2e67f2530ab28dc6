// What the records of a window say of a line, in figures. docs/statistics.md defines each of them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "station/figures/figure_database.h"

namespace t1station {

/// Which runs the figures are of; a field without a value leaves none out.
struct FigureWindow {
  std::optional<std::string> from, to;  ///< of `started`, as whole_time() gives them; `to` itself is outside
  std::optional<std::string> plan{};    ///< a plan's name, of any version
  std::optional<std::string> batch{};   ///< what the units' serial numbers begin with
};

/// A number of runs, and which they are.
struct FoundRuns {
  /// The most ids that are kept.
  static constexpr std::size_t kMostIds = 20;

  std::int64_t count = 0;
  std::vector<std::string> ids;  ///< of those that started last, newest first

  /// Counts a run. Newer ones must be added before older ones.
  void add(std::string_view run);
};

/// The two sides of a share.
struct Share {
  std::int64_t part = 0, all = 0;

  /// From 0 to 1; nothing of nothing.
  std::optional<double> value() const;
};

/// A plan that the database knows.
struct PlanNamed {
  std::string name;
  std::vector<std::string> versions;  ///< sorted as texts
};

/// What the same words of a step were found in: words that differ in numbers only are the same.
struct FailureKind {
  std::string plan, step;
  std::optional<std::string> words;  ///< with "#" for each number; nothing where the board said nothing
  std::map<std::string, std::int64_t> outcomes;  ///< runs by the outcome of the step's last attempt
  FoundRuns runs;
  std::vector<std::pair<double, double>> numbers;  ///< the smallest and the largest at each "#"
  std::vector<std::string> examples;               ///< whole texts, three at most
};

/// Attempts of one step.
struct StepFigures {
  std::string plan, step;
  std::int64_t index = 0;  ///< from 0; the smallest that it has in any version
  std::int64_t runs = 0, attempts = 0;
  std::map<std::string, std::int64_t> outcomes;          ///< attempts by outcome
  FoundRuns failed;                                      ///< runs in which an attempt failed
  FoundRuns not_passed;                                  ///< runs in which an attempt did not pass
  FoundRuns retried;                                     ///< runs in which there was a second attempt
  std::optional<double> median, percentile_95;           ///< seconds
  std::int64_t median_runs = 0, percentile_95_runs = 0;  ///< in which an attempt took so long or longer
};

/// One slot beside all others.
struct SlotFigures {
  std::string station;
  std::optional<std::string> slot;
  std::int64_t runs = 0;  ///< that have ended
  FoundRuns not_passed;
  Share others;             ///< runs of the other slots that did not pass, of all of theirs
  std::optional<double> p;  ///< Fisher's exact test, two-sided; nothing without other slots
  bool is_marked = false;
};

/// Units whose serial numbers begin alike, beside all others.
struct BatchFigures {
  std::string begin;  ///< of the serial numbers: one character more than all in the window have in common
  std::int64_t units = 0;   ///< with a run in the window
  Share first_pass, final;  ///< units, as in Figures
  FoundRuns lost;           ///< first runs that count against first_pass
  Share others;             ///< first_pass of all other units
  std::optional<double> p;  ///< Fisher's exact test of first_pass, two-sided; nothing without others
  bool is_marked = false;
};

/// One bar; `from` is inside, `to` only in the last one.
struct HistogramBar {
  double from = 0, to = 0;
  std::int64_t values = 0, runs = 0;
  std::vector<std::string> ids;  ///< of runs, as in FoundRuns
};

/// What a process can do, with its 95 % confidence interval.
struct Capability {
  double cpk = 0, low = 0, high = 0;
};

/// Whether values are normally distributed.
struct Normality {
  double p = 0, skewness = 0, excess_kurtosis = 0;
  bool is_warning = false;
};

/// Whether values move with time.
struct Drift {
  double p = 0;
  double correlation = 0;  ///< of value and order, -1 to 1
  double rise = 0;         ///< of the line through the values, from the first to the last, in their unit
  bool is_warning = false;
};

/// Values of one measurement with the same limits.
struct MeasurementFigures {
  std::string plan, step, name;
  std::optional<std::string> unit;
  std::optional<double> low, high;
  std::int64_t values = 0, not_found = 0, too_low = 0, too_high = 0;
  std::int64_t runs = 0, not_found_runs = 0, too_low_runs = 0, too_high_runs = 0;  ///< these values are of
  std::optional<double> minimum, maximum, mean;
  std::optional<double> deviation;  ///< of the sample; nothing of fewer than two values
  std::optional<Capability> capability;
  std::optional<Normality> normality;
  std::optional<Drift> drift;
  std::vector<HistogramBar> histogram;
  FoundRuns outside;  ///< runs with a value outside its limits, or without one
};

/// All figures of a window. But for `check_runs` all are of production runs.
struct Figures {
  FigureWindow window;
  std::vector<PlanNamed> plans;               ///< all, whatever the window
  std::map<std::string, FoundRuns> verdicts;  ///< runs by verdict; "" while they run
  std::int64_t runs = 0, check_runs = 0;
  FoundRuns retried;                             ///< runs that have ended, with a second attempt of a step
  std::int64_t units = 0;                        ///< with a run in the window; once a plan's name
  Share first_pass, first_pass_strict, final;    ///< units
  FoundRuns first_lost;                          ///< first runs that count against first_pass_strict
  FoundRuns last_not_passed;                     ///< last runs that count against final
  std::vector<FailureKind> failures;             ///< the most frequent first
  std::vector<StepFigures> steps;                ///< by plan and index
  std::vector<SlotFigures> slots;                ///< by station and slot
  std::vector<BatchFigures> batches;             ///< by what they begin with
  std::vector<MeasurementFigures> measurements;  ///< by plan, step and name
};

/// Whether there is something to compare: two batches or more, of which one has two units.
inline bool has_batches(const Figures& figures) {
  return figures.batches.size() > 1 && figures.units > static_cast<std::int64_t>(figures.batches.size());
}

/// Asks the database for all figures of a window. Throws RecordsBroken when it cannot be read.
Figures find_figures(FigureDatabase& database, const FigureWindow& window);

}  // namespace t1station
