#include "station/records/writing.h"

#include <cmath>
#include <stdexcept>
#include <vector>

#include "station/records/chain.h"
#include "station/records/identity.h"
#include "station/records/loading.h"
#include "station/text/json.h"

namespace t1station {
namespace {

// NULL for what is no number of seconds.
Value seconds_value(std::optional<double> seconds) {
  return seconds && std::isfinite(*seconds) ? Value(*seconds) : Value();
}

Value last_event_hash(Database& database) {
  return database.single("SELECT hash FROM event ORDER BY sequence DESC LIMIT 1");
}

std::int64_t last_sequence(Database& database, std::string_view table) {
  const Value last = database.single("SELECT coalesce(max(sequence), 0) FROM " + std::string(table));
  return std::get<std::int64_t>(last);
}

// NULL without a detail, or without a serial number in it.
Value serial_in(std::string_view detail) {
  if (detail.empty()) return {};
  const Json json = Json::parse(detail, nullptr, false);
  if (json.is_discarded()) throw std::invalid_argument("the detail of an event is no JSON");
  const bool has_serial = json.is_object() && json.contains("serial") && json["serial"].is_string();
  return has_serial ? Value(json["serial"].get<std::string>()) : Value();
}

void insert_measurement(Database& database, std::string_view attempt, std::int64_t position,
                        const Measurement& measurement) {
  Statement(database,
            "INSERT INTO measurement (attempt_id, position, name, value, unit, low, high, outcome) "
            "VALUES (?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(attempt)
      .bind(position)
      .bind(measurement.name)
      .bind(value_or_null(measurement.value))
      .bind(text_or_null(measurement.unit))
      .bind(value_or_null(measurement.low))
      .bind(value_or_null(measurement.high))
      .bind(measurement.outcome)
      .run();
}

// An UPDATE that finds no row is a call in the wrong order.
void expect_one_row(const Database& database, std::string_view what, std::string_view id) {
  if (database.changes() == 1) return;
  throw SqlError(SQLITE_CONSTRAINT, "there is no " + std::string(what) + " " + std::string(id));
}

std::int64_t runs_of_unit(Database& database, const NewRun& run, const Plan& plan) {
  Statement row(database,
                "SELECT count(*) FROM run JOIN plan ON plan.id = run.plan_id WHERE serial = ? AND name = ?");
  row.bind(run.serial).bind(plan.name).step();
  return row.integer(0);
}

// Failed or error runs of a unit under a plan's name since it passed or was released last.
std::int64_t runs_in_vain(Database& database, const std::string& serial, const std::string& plan) {
  Statement row(database,
                "WITH ended AS (SELECT sequence, verdict FROM run JOIN plan ON plan.id = run.plan_id "
                "WHERE serial = ?1 AND name = ?2 AND kind = 'production' AND verdict IS NOT NULL) "
                "SELECT count(*) FROM ended WHERE verdict IN ('failed', 'error') "
                "AND sequence > (SELECT coalesce(max(sequence), 0) FROM ended WHERE verdict = 'passed') "
                "AND sequence > (SELECT coalesce(max(runs_ended), 0) FROM event "
                "WHERE serial = ?1 AND kind = 'release')");
  row.bind(serial).bind(plan).step();
  return row.integer(0);
}

}  // namespace

void insert_event(Database& database, std::string_view kind, std::string_view slot, std::string_view run,
                  std::string_view operator_name, std::string_view detail) {
  std::vector<Value> values{new_id(),
                            record_time(),
                            std::string(kind),
                            text_or_null(slot),
                            text_or_null(run),
                            text_or_null(operator_name),
                            text_or_null(detail),
                            serial_in(detail),
                            last_sequence(database, "event") + 1,
                            last_sequence(database, "run"),
                            last_event_hash(database)};
  values.emplace_back(row_hash("event", values));
  static const std::string insert = "INSERT INTO event (" + std::string(event_columns()) +
                                    ", hash) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
  Statement row(database, insert);
  for (const Value& value : values) row.bind(value);
  row.run();
}

void insert_plan(Database& database, const Plan& plan) {
  {
    Statement known(database, "SELECT 1 FROM plan WHERE id = ?");
    if (known.bind(plan.id).step()) return;
  }
  std::optional<std::string> other;
  {
    Statement same(database, "SELECT id FROM plan WHERE name = ? AND version = ? LIMIT 1");
    if (same.bind(plan.name).bind(plan.version).step()) other = same.text(0);
  }
  Statement(database, "INSERT INTO plan (id, name, version, text) VALUES (?, ?, ?, ?)")
      .bind(plan.id)
      .bind(plan.name)
      .bind(plan.version)
      .bind(plan.text)
      .run();
  if (!other) return;
  const Json detail{{"name", plan.name}, {"version", plan.version}, {"before", *other}, {"now", plan.id}};
  insert_event(database, "plan_changed", {}, {}, {}, json_text(detail));
}

std::string insert_run(Database& database, const NewRun& run, const Plan& plan) {
  std::string id = new_id();
  Statement(database,
            "INSERT INTO run (id, serial, plan_id, kind, station, slot, operator, number, started, software) "
            "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(id)
      .bind(run.serial)
      .bind(plan.id)
      .bind(run.kind)
      .bind(run.station)
      .bind(text_or_null(run.slot))
      .bind(text_or_null(run.operator_name))
      .bind(runs_of_unit(database, run, plan) + 1)
      .bind(run.started.empty() ? record_time() : run.started)
      .bind(run.software)
      .run();
  return id;
}

void fill_attempt(Database& database, std::string_view attempt, const AttemptEnd& end) {
  std::int64_t position = 0;
  for (const Measurement& measurement : end.measurements) {
    insert_measurement(database, attempt, position++, measurement);
  }
  Statement(
      database,
      "UPDATE attempt SET ended = ?, seconds = ?, outcome = ?, board_name = ?, description = ?, reply = ?, "
      "console = ?, answer = ? WHERE id = ?")
      .bind(record_time())
      .bind(seconds_value(end.seconds))
      .bind(attempt_outcome_name(end.outcome))
      .bind(text_or_null(end.board_name))
      .bind(text_or_null(end.description))
      .bind(blob_or_null(end.reply))
      .bind(end.console ? Value(Blob{*end.console}) : Value())
      .bind(text_or_null(end.answer))
      .bind(attempt)
      .run();
  expect_one_row(database, "attempt", attempt);
}

void fill_open_attempts(Database& database, std::string_view run, AttemptOutcome outcome) {
  Statement(database, "UPDATE attempt SET ended = ?, outcome = ? WHERE run_id = ? AND outcome IS NULL")
      .bind(record_time())
      .bind(attempt_outcome_name(outcome))
      .bind(run)
      .run();
}

EndedRun fill_run(Database& database, std::string_view run, const StoredVerdict& verdict,
                  std::optional<double> seconds) {
  EndedRun ended{verdict.verdict, verdict.reason, verdict.retried, last_sequence(database, "run") + 1, {},
                 seconds};
  {
    Statement previous(database, "SELECT hash FROM run WHERE sequence = ?");
    const bool has_previous = previous.bind(ended.sequence - 1).step();
    Statement(database,
              "UPDATE run SET ended = ?, seconds = ?, verdict = ?, reason = ?, retried = ?, sequence = ?, "
              "previous = ? WHERE id = ?")
        .bind(record_time())
        .bind(seconds_value(seconds))
        .bind(verdict_name(verdict.verdict))
        .bind(text_or_null(verdict.reason))
        .bind(std::int64_t{verdict.retried})
        .bind(ended.sequence)
        .bind(has_previous ? previous.value(0) : Value())
        .bind(run)
        .run();
    expect_one_row(database, "run", run);
  }
  ended.hash = run_hash(database, run);
  Statement(database, "UPDATE run SET hash = ? WHERE id = ?").bind(ended.hash).bind(run).run();
  return ended;
}

int interrupt_open_runs(Database& database) {
  std::vector<std::string> open;
  {
    Statement rows(database, "SELECT id FROM run WHERE verdict IS NULL ORDER BY id");
    while (rows.step()) open.push_back(rows.text(0));
  }
  for (const std::string& run : open) {
    fill_open_attempts(database, run, AttemptOutcome::interrupted);
    const std::optional<StoredRun> stored = load_run(database, run);
    fill_run(database, run,
             {Verdict::interrupted, "the station ended before the run did", stored && was_retried(*stored)},
             std::nullopt);
  }
  return static_cast<int>(open.size());
}

std::optional<std::string> reason_against(Database& database, const NewRun& run, const Plan& plan) {
  Statement open(database, "SELECT slot FROM run WHERE verdict IS NULL AND serial = ?");
  if (open.bind(run.serial).step()) {
    const std::string slot = open.text(0);
    return run.serial + " is in a run now" + (slot.empty() ? "" : ", in slot " + slot);
  }
  if (!plan.max_runs || run.kind != "production") return std::nullopt;
  const std::int64_t count = runs_in_vain(database, run.serial, plan.name);
  if (count < *plan.max_runs) return std::nullopt;
  return run.serial + " has not passed " + plan.name + " in " + std::to_string(count) +
         " runs: to repair, until it is released";
}

}  // namespace t1station
