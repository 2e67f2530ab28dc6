// What a station takes up again when it starts, and the day's figures.

#include "station/records/database.h"
#include "station/records/loading.h"
#include "station/records/reader.h"
#include "station/records/reading.h"
#include "station/text/json.h"

namespace t1station {
namespace {

std::optional<StoredRun> unacknowledged_run(Database& database, std::string_view station,
                                            std::string_view slot) {
  Statement last(
      database,
      "SELECT id, verdict, EXISTS (SELECT 1 FROM event WHERE run_id = run.id AND kind = 'acknowledge') "
      "FROM run WHERE station = ? AND slot = ? ORDER BY id DESC LIMIT 1");
  if (!last.bind(station).bind(slot).step()) return std::nullopt;
  if (last.text(1) == "passed" || last.integer(2) != 0) return std::nullopt;
  return load_run(database, last.text(0));
}

std::optional<std::string> standing_lock(Database& database, std::string_view slot) {
  Statement last(database,
                 "SELECT kind, detail FROM event WHERE slot = ? AND kind IN ('lock', 'unlock') "
                 "ORDER BY sequence DESC LIMIT 1");
  if (!last.bind(slot).step() || last.text(0) == "unlock") return std::nullopt;
  const Json detail = Json::parse(last.text(1), nullptr, false);
  return detail.is_object() ? detail.value("reason", "locked") : "locked";
}

std::string last_unlock(Database& database, std::string_view slot) {
  Statement last(database,
                 "SELECT at FROM event WHERE slot = ? AND kind = 'unlock' ORDER BY sequence DESC LIMIT 1");
  return last.bind(slot).step() ? last.text(0) : std::string();
}

std::vector<CheckRun> check_runs(Database& database, std::string_view station, std::string_view slot) {
  Statement rows(
      database,
      "SELECT id, serial, verdict, ended FROM run WHERE kind = 'check' AND station = ? AND slot = ? "
      "ORDER BY sequence");
  std::vector<CheckRun> runs;
  for (rows.bind(station).bind(slot); rows.step();) {
    runs.push_back({rows.text(0), rows.text(1), rows.text(2), rows.text(3)});
  }
  return runs;
}

std::optional<CheckRun> check_run(Database& database, std::int64_t sequence) {
  Statement row(database, "SELECT id, serial, verdict, ended FROM run WHERE sequence = ?");
  if (!row.bind(sequence).step()) return std::nullopt;
  return CheckRun{row.text(0), row.text(1), row.text(2), row.text(3)};
}

/// Check runs of a slot, as places in the order in which runs ended.
struct ChecksOfSlot {
  bool are_there = false;
  std::int64_t last_wrong = 0;       ///< 0: there is none
  std::int64_t complete_before = 0;  ///< before the wrong one, or at all; 0: there is none
};

// A check with a wrong result is one that a lock names. Of the others a good unit has passed and a bad one
// failed: only both together, with nothing wrong between them, say that the slot was in order.
ChecksOfSlot checks_of(Database& database, std::string_view slot) {
  Statement rows(
      database,
      "SELECT sequence, EXISTS (SELECT 1 FROM event WHERE kind = 'lock' AND run_id = run.id), verdict "
      "FROM run WHERE kind = 'check' AND slot = ? AND sequence IS NOT NULL ORDER BY sequence");
  ChecksOfSlot checks;
  std::int64_t last_complete = 0;
  bool has_passed = false, has_failed = false;
  for (rows.bind(slot); rows.step();) {
    checks.are_there = true;
    const bool is_wrong = rows.integer(1) != 0;
    if (is_wrong) checks = {true, rows.integer(0), last_complete};
    has_passed = !is_wrong && (has_passed || rows.text(2) == "passed");
    has_failed = !is_wrong && (has_failed || rows.text(2) == "failed");
    if (!has_passed || !has_failed) continue;
    last_complete = rows.integer(0);
    has_passed = has_failed = false;
  }
  if (checks.last_wrong == 0) checks.complete_before = last_complete;
  return checks;
}

std::optional<double> first_pass_yield(Database& database, std::string_view from) {
  Statement row(
      database,
      "SELECT count(*), coalesce(sum(verdict = 'passed' AND retried = 0), 0) "
      "FROM run JOIN plan ON plan.id = run.plan_id "
      "WHERE kind = 'production' AND started >= ? AND verdict IN ('passed', 'failed', 'error') "
      "AND NOT EXISTS (SELECT 1 FROM run AS earlier JOIN plan AS its ON its.id = earlier.plan_id "
      "WHERE earlier.serial = run.serial AND its.name = plan.name AND earlier.kind = 'production' "
      "AND (earlier.started < run.started OR (earlier.started = run.started AND earlier.id < run.id)))");
  row.bind(from).step();
  if (row.integer(0) == 0) return std::nullopt;
  return static_cast<double>(row.integer(1)) / static_cast<double>(row.integer(0));
}

}  // namespace

std::optional<SuspectChecks> RecordsReader::suspects(std::string_view slot,
                                                     const std::function<void(const StoredRun&)>& call) {
  return reading([&]() -> std::optional<SuspectChecks> {
    const ChecksOfSlot checks = checks_of(*database_, slot);
    if (!checks.are_there) return std::nullopt;
    Statement rows(*database_, std::string(select_runs()) +
                                   "WHERE run.kind = 'production' AND run.slot = ?1 AND run.sequence > ?2 "
                                   "AND (?3 = 0 OR run.sequence < ?3) ORDER BY run.sequence");
    rows.bind(slot).bind(checks.complete_before).bind(checks.last_wrong);
    while (rows.step()) call(load_run_row(rows));
    return SuspectChecks{check_run(*database_, checks.last_wrong),
                         check_run(*database_, checks.complete_before)};
  });
}

SlotHistory RecordsReader::slot_history(std::string_view station, std::string_view slot) {
  return reading([&] {
    return SlotHistory{unacknowledged_run(*database_, station, slot), standing_lock(*database_, slot),
                       last_unlock(*database_, slot), check_runs(*database_, station, slot)};
  });
}

std::optional<StoredRun> RecordsReader::last_ended(std::string_view station, std::string_view slot) {
  return reading([&]() -> std::optional<StoredRun> {
    Statement row(*database_, std::string(select_runs()) +
                                  "WHERE run.station = ? AND run.slot = ? AND run.sequence IS NOT NULL "
                                  "ORDER BY run.sequence DESC LIMIT 1");
    if (!row.bind(station).bind(slot).step()) return std::nullopt;
    return load_run_row(row);
  });
}

RunCounts RecordsReader::counts_since(std::string_view from) {
  return reading([&] {
    // A run lasts a day at most: what began earlier has ended earlier, and need not be looked at.
    Statement row(
        *database_,
        "SELECT count(*), coalesce(sum(verdict = 'passed'), 0), coalesce(sum(verdict = 'failed'), 0), "
        "coalesce(sum(verdict = 'error'), 0) FROM run "
        "WHERE kind = 'production' AND ended >= ?1 AND started >= date(?1, '-1 day')");
    row.bind(from).step();
    RunCounts counts{row.integer(0), row.integer(1), row.integer(2), row.integer(3), {}};
    counts.first_pass_yield = first_pass_yield(*database_, from);
    return counts;
  });
}

}  // namespace t1station
