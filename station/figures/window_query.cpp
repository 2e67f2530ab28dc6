#include "station/figures/window_query.h"

namespace t1station {

WindowQuery::WindowQuery(const FigureWindow& window, std::string_view columns, std::string_view joins,
                         std::string_view condition, std::string_view then)
    : sql("SELECT " + std::string(columns) + " FROM run JOIN plan ON plan.id = run.plan_id " +
          std::string(joins) + " WHERE " + std::string(condition)) {
  const auto add = [this](std::string_view comparison, const std::optional<std::string>& value) {
    if (!value) return;
    parameters.push_back(*value);
    sql += " AND " + std::string(comparison) + " $" + std::to_string(parameters.size());
  };
  add("run.started >=", window.from);
  add("run.started <", window.to);
  add("plan.name =", window.plan);
  sql += " ORDER BY run.started DESC, run.id DESC" + std::string(then);
}

}  // namespace t1station
