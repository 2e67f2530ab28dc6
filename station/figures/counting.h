// From runs to figures.
#pragma once

#include <vector>

#include "station/figures/digest.h"
#include "station/figures/figures.h"
#include "station/figures/measurement_figures.h"
#include "station/figures/run_figures.h"
#include "station/figures/step_figures.h"

namespace t1station {

/// All plans of a database, by name. Throws RecordsBroken.
std::vector<PlanNamed> find_plans(FigureDatabase& database);

/// Counts the runs of digests, the newest digest first.
class FigureCounting {
 public:
  explicit FigureCounting(const FigureWindow& window) { figures_.window = window; }
  FigureCounting(const FigureCounting&) = delete;
  FigureCounting& operator=(const FigureCounting&) = delete;

  /// Runs whose time is known and that lie outside the window are left out, and so are other plans and
  /// batches.
  void add(const Digest& digest);
  Figures finish(std::vector<PlanNamed> plans);

 private:
  bool is_in_window(const Digest& digest, const Digest::Run& run) const;

  Figures figures_;
  RunCounting runs_{figures_};
  StepCounting steps_{figures_};
  MeasurementCounting measurements_{figures_};
};

}  // namespace t1station
