#include "station/figures/figures.h"

#include <algorithm>

#include "station/figures/measurement_figures.h"
#include "station/figures/run_figures.h"
#include "station/figures/step_figures.h"

namespace t1station {
namespace {

std::vector<PlanNamed> all_plans(FigureDatabase& database) {
  std::map<std::string, std::vector<std::string>> versions;
  database.rows("SELECT DISTINCT name, version FROM plan", {}, [&versions](const FigureRow& row) {
    versions[std::string(row.text(0))].emplace_back(row.text(1));
  });
  std::vector<PlanNamed> plans;
  for (auto& [name, of_plan] : versions) {
    std::sort(of_plan.begin(), of_plan.end());
    plans.push_back({name, std::move(of_plan)});
  }
  return plans;
}

}  // namespace

void FoundRuns::add(std::string_view run) {
  ++count;
  if (ids.size() < kMostIds) ids.emplace_back(run);
}

std::optional<double> Share::value() const {
  if (all == 0) return std::nullopt;
  return static_cast<double>(part) / static_cast<double>(all);
}

Figures find_figures(FigureDatabase& database, const FigureWindow& window) {
  Figures figures;
  figures.window = window;
  database.at_one_moment([&] {
    figures.plans = all_plans(database);
    find_run_figures(database, figures);
    find_step_figures(database, figures);
    find_measurement_figures(database, figures);
  });
  return figures;
}

}  // namespace t1station
