#include "station/central/outbox.h"

#include "station/records/reader.h"
#include "station/records/records.h"

namespace t1station {
namespace {

std::int64_t number_or_0(const Value& value) {
  const auto* number = std::get_if<std::int64_t>(&value);
  return number ? *number : 0;
}

std::optional<std::string> hash_of(Database& database, std::string_view sql, std::int64_t sequence) {
  Statement row(database, sql);
  return row.bind(sequence).step() ? row.optional_text(0) : std::nullopt;
}

// Most that go at once: what was stored in an outage of weeks is no reason to hold all of it in memory.
constexpr std::size_t kMostEvents = 1000;

}  // namespace

Outbox::Outbox(const std::string& file) : database_(open_for_reading(file)) {
  const Value first = database_->single("SELECT id FROM event WHERE sequence = 1");
  const auto* id = std::get_if<std::string>(&first);
  if (!id) throw RecordsRefused(file + " has no events: no station has written it");
  chain_ = *id;
}

std::int64_t Outbox::last_run() {
  return number_or_0(database_->single("SELECT max(sequence) FROM run"));
}

std::int64_t Outbox::last_event() {
  return number_or_0(database_->single("SELECT max(sequence) FROM event"));
}

std::int64_t Outbox::last_forwarded() {
  return number_or_0(
      database_->single("SELECT sequence FROM run WHERE sequence IS NOT NULL "
                        "AND EXISTS (SELECT 1 FROM forwarded WHERE run_id = run.id) "
                        "ORDER BY sequence DESC LIMIT 1"));
}

std::optional<std::string> Outbox::run_hash(std::int64_t sequence) {
  return hash_of(*database_, "SELECT hash FROM run WHERE sequence = ?", sequence);
}

std::optional<std::string> Outbox::event_hash(std::int64_t sequence) {
  return hash_of(*database_, "SELECT hash FROM event WHERE sequence = ?", sequence);
}

OutgoingRun Outbox::run(std::int64_t sequence) {
  Statement row(*database_,
                "SELECT plan.id, plan.name, plan.version, plan.text, run.id, run.hash "
                "FROM run JOIN plan ON plan.id = run.plan_id WHERE run.sequence = ?");
  if (!row.bind(sequence).step()) {
    throw SqlError(SQLITE_CORRUPT, "the run of sequence " + std::to_string(sequence) + " is missing");
  }
  OutgoingRun run;
  for (int column = 0; column < 4; ++column) run.plan.push_back(row.value(column));
  run.id = row.text(4);
  run.hash = row.text(5);
  run.rows = load_run_rows(*database_, run.id);
  return run;
}

std::vector<std::string> Outbox::not_forwarded(std::int64_t from, std::int64_t to) {
  Statement rows(*database_,
                 "SELECT id FROM run WHERE sequence BETWEEN ? AND ? "
                 "AND NOT EXISTS (SELECT 1 FROM forwarded WHERE run_id = run.id) ORDER BY sequence");
  std::vector<std::string> ids;
  for (rows.bind(from).bind(to); rows.step();) ids.push_back(rows.text(0));
  return ids;
}

std::vector<Row> Outbox::events(std::int64_t behind, std::int64_t ended_before, std::int64_t runs) {
  static const std::string select =
      "SELECT " + std::string(event_columns()) +
      ", hash, run_id IS NULL OR coalesce((SELECT sequence FROM run WHERE id = run_id) <= ?, 0) FROM event "
      "WHERE sequence > ? AND runs_ended <= ? ORDER BY sequence";
  Statement row(*database_, select);
  row.bind(runs).bind(behind).bind(ended_before);
  std::vector<Row> events;
  const int is_free = row.columns() - 1;
  while (events.size() < kMostEvents && row.step() && row.integer(is_free) != 0) {
    Row& event = events.emplace_back();
    for (int column = 0; column < is_free; ++column) event.push_back(row.value(column));
  }
  return events;
}

}  // namespace t1station
