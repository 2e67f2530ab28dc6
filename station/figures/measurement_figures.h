// Measured values.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "station/figures/digest.h"
#include "station/figures/figures.h"

namespace t1station {

/// Finds what measurements tell. Runs must come newest first.
class MeasurementCounting {
 public:
  explicit MeasurementCounting(Figures& figures) : figures_(figures) {}

  /// What follows is of this digest, which must stand until then.
  void open(const Digest& digest);
  void add(const Digest::Run& run);
  void finish();

 private:
  /// What is measured, against which limits.
  using Name = std::tuple<std::string, std::string, std::string, std::optional<std::string>,
                          std::optional<double>, std::optional<double>>;
  /// Values of one measurement, newest first, and the runs that they are of.
  struct Values {
    MeasurementFigures figures;
    std::vector<double> values;
    std::vector<std::uint32_t> runs;  ///< for each value, its run's place among all
    bool is_in_window = false;        ///< at least one of them
    /// Runs, from 1, that are counted already: as outside, not found, too low, too high, with a value.
    std::size_t last_outside = 0, last_not_found = 0, last_low = 0, last_high = 0, last_found = 0;
  };
  /// Where measurements of one kind are counted.
  struct Place {
    Values* values = nullptr;
    std::int64_t* outside = nullptr;  ///< null for those that passed
    std::int64_t* outside_runs = nullptr;
    std::size_t* last = nullptr;
  };

  void describe(Values& values) const;
  void add_histogram(Values& values) const;

  Figures& figures_;
  const Digest* digest_ = nullptr;
  std::vector<Place> places_;      ///< for each of the digest's kinds
  std::vector<std::string> runs_;  ///< ids of all runs with measurements
  std::map<Name, Values> measurements_;
};

}  // namespace t1station
