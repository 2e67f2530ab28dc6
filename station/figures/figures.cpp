#include "station/figures/figures.h"

#include <algorithm>

#include "station/figures/counting.h"
#include "station/figures/digest_rows.h"

namespace t1station {
void FoundRuns::add(std::string_view run) {
  ++count;
  if (ids.size() < kMostIds) ids.emplace_back(run);
}

std::optional<double> Share::value() const {
  if (all == 0) return std::nullopt;
  return static_cast<double>(part) / static_cast<double>(all);
}

std::vector<PlanNamed> find_plans(FigureDatabase& database) {
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

Figures find_figures(FigureDatabase& database, const FigureWindow& window) {
  std::vector<PlanNamed> plans;
  Digest digest;
  database.at_one_moment([&] {
    plans = find_plans(database);
    digest = read_digest(database, window, false);
  });
  FigureCounting counting(window);
  counting.add(digest);
  return counting.finish(std::move(plans));
}

}  // namespace t1station
