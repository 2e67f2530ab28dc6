#include "station/figures/digest_rows.h"

#include <limits>
#include <map>
#include <unordered_map>

namespace t1station {
namespace {

/// A SELECT over the runs of a window, oldest first.
struct WindowQuery {
  std::string sql;
  std::vector<std::string> parameters;

  WindowQuery(const FigureWindow& window, std::string_view columns, std::string_view joins,
              std::string_view condition, std::string_view then)
      : sql("SELECT " + std::string(columns) + " FROM run JOIN plan ON plan.id = run.plan_id " +
            std::string(joins) + " WHERE " + std::string(condition)) {
    add("run.started >=", window.from);
    add("run.started <", window.to);
    add("plan.name =", window.plan);
    add_batch(window.batch);
    sql += " ORDER BY run.started, run.id" + std::string(then);
  }

 private:
  void add(std::string_view comparison, const std::optional<std::string>& value) {
    if (!value) return;
    parameters.push_back(*value);
    sql += " AND " + std::string(comparison) + " $" + std::to_string(parameters.size());
  }
  void add_batch(const std::optional<std::string>& batch) {
    if (!batch) return;
    parameters.push_back(*batch);
    const std::string place = "$" + std::to_string(parameters.size());
    sql += " AND substr(run.serial, 1, length(" + place + ")) = " + place;
  }
};

constexpr std::string_view kEnded = "run.kind = 'production' AND run.verdict IS NOT NULL";
constexpr std::string_view kAttempts = "JOIN attempt ON attempt.run_id = run.id";
constexpr std::string_view kMeasurements =
    "JOIN attempt ON attempt.run_id = run.id JOIN measurement ON measurement.attempt_id = attempt.id";

WindowQuery runs_query(const FigureWindow& window, bool has_times) {
  const std::string started = has_times ? "run.started" : "''";
  return {
      window,
      "run.id, run.serial, " + started +
          ", plan.name, run.station, run.slot, run.verdict, CASE run.kind WHEN 'check' THEN 1 ELSE 0 END, "
          "run.retried, CASE WHEN EXISTS (SELECT 1 FROM run AS earlier JOIN plan AS its ON its.id = "
          "earlier.plan_id WHERE earlier.serial = run.serial AND earlier.kind = 'production' AND its.name = "
          "plan.name AND (earlier.started < run.started OR (earlier.started = run.started AND earlier.id < "
          "run.id))) THEN 1 ELSE 0 END",
      "", "run.kind IN ('production', 'check')", ""};
}

/// Fills a digest, row by row.
class Building {
 public:
  void add_run(const FigureRow& row) {
    Digest::Run run{};
    run.id = text(row, 0);
    run.serial = text(row, 1);
    run.started = text(row, 2);
    run.plan = text(row, 3);
    run.station = text(row, 4);
    run.slot = text(row, 5);
    run.verdict = text(row, 6);
    if (row.integer(7) != 0) run.flags |= Digest::kCheck;
    if (row.integer(8) != 0) run.flags |= Digest::kRetried;
    if (row.integer(9) == 0) run.flags |= Digest::kFirst;
    digest_.runs.push_back(run);
  }

  void add_attempt(const FigureRow& row) {
    Digest::Run& run = run_of(row);
    if (run.attempts++ == 0) run.first_attempt = static_cast<std::uint32_t>(digest_.attempts.size());
    const Digest::Try tried{run.plan, text(row, 1), text(row, 2), static_cast<std::int32_t>(row.integer(3)),
                            static_cast<std::int32_t>(row.integer(4))};
    digest_.attempts.push_back({place_of(tried, tries_, digest_.tries), text(row, 5), real_or_nan(row, 6)});
  }

  void add_measurement(const FigureRow& row) {
    Digest::Run& run = run_of(row);
    if (run.measurements++ == 0) run.first_measured = static_cast<std::uint32_t>(digest_.measured.size());
    Digest::Kind kind{run.plan, text(row, 1), text(row, 2), text(row, 3), text(row, 4),
                      0,        row.real(5),  row.real(6)};
    if (!row.is_null(5)) kind.limits |= Digest::kLow;
    if (!row.is_null(6)) kind.limits |= Digest::kHigh;
    digest_.measured.push_back(place_of(kind, kinds_, digest_.kinds));
    digest_.values.push_back(real_or_nan(row, 7));
  }

  /// What comes next begins with the first run again.
  void rewind() { run_ = 0; }
  Digest finish() { return std::move(digest_); }

 private:
  /// Rows come in the order of the runs, though not of all of them.
  Digest::Run& run_of(const FigureRow& row) {
    const std::string_view id = row.text(0);
    while (digest_.text(digest_.runs.at(run_).id) != id) ++run_;
    return digest_.runs[run_];
  }

  Digest::Text text(const FigureRow& row, int column) {
    if (row.is_null(column)) return Digest::kNone;
    const auto next = static_cast<Digest::Text>(digest_.texts.ends.size());
    const auto [found, is_new] = texts_.try_emplace(std::string(row.text(column)), next);
    if (is_new) digest_.texts.add(found->first);
    return found->second;
  }

  static double real_or_nan(const FigureRow& row, int column) {
    return row.is_null(column) ? std::numeric_limits<double>::quiet_NaN() : row.real(column);
  }

  template <typename T>
  static std::uint32_t place_of(const T& thing, std::map<T, std::uint32_t>& known, std::vector<T>& all) {
    const auto [found, is_new] = known.try_emplace(thing, static_cast<std::uint32_t>(all.size()));
    if (is_new) all.push_back(thing);
    return found->second;
  }

  Digest digest_;
  std::size_t run_ = 0;
  std::unordered_map<std::string, Digest::Text> texts_;
  std::map<Digest::Try, std::uint32_t> tries_;
  std::map<Digest::Kind, std::uint32_t> kinds_;
};

}  // namespace

Digest read_digest(FigureDatabase& database, const FigureWindow& window, bool has_times) {
  Building building;
  const auto read = [&](const WindowQuery& query, void (Building::*add)(const FigureRow&)) {
    building.rewind();
    database.rows(query.sql, query.parameters, [&](const FigureRow& row) { (building.*add)(row); });
  };
  read(runs_query(window, has_times), &Building::add_run);
  read({window,
        "run.id, attempt.step, attempt.outcome, attempt.step_index, attempt.number, "
        "CASE attempt.outcome WHEN 'passed' THEN NULL ELSE attempt.description END, attempt.seconds",
        kAttempts, kEnded, ", attempt.step_index, attempt.number"},
       &Building::add_attempt);
  read({window,
        "run.id, attempt.step, measurement.name, measurement.unit, measurement.outcome, measurement.low, "
        "measurement.high, measurement.value",
        kMeasurements, kEnded, ", attempt.step_index, attempt.number, measurement.position"},
       &Building::add_measurement);
  return building.finish();
}

}  // namespace t1station
