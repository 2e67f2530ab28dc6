#include "tests/station/figures_file.h"

#include <filesystem>
#include <memory>

#include "station/records/database.h"
#include "station/records/records.h"

namespace figures_model {
namespace {

/// A row's values; nothing is NULL.
void insert(t1station::Database& database, const std::string& table,
            const std::vector<t1station::Value>& values) {
  std::string marks;
  for (std::size_t i = 0; i < values.size(); ++i) marks += i == 0 ? "?" : ", ?";
  t1station::Statement statement(database, "INSERT INTO " + table + " VALUES (" + marks + ")");
  for (const t1station::Value& value : values) statement.bind(value);
  statement.run();
}

void store_attempt(t1station::Database& database, const Run& run, const Attempt& attempt) {
  using t1station::value_or_null;
  const std::string id = run.id + "-" + std::to_string(attempt.index) + "-" + std::to_string(attempt.number);
  insert(database, "attempt (id, run_id, step, step_index, number, code, started, request)",
         {id, run.id, attempt.step, std::int64_t{attempt.index}, std::int64_t{attempt.number},
          std::int64_t{0}, run.started, t1station::Blob{"x"}});
  std::int64_t position = 0;
  for (const Measured& one : attempt.measurements) {
    insert(database, "measurement (attempt_id, position, name, unit, low, high, value, outcome)",
           {id, position++, one.name, value_or_null(one.unit), value_or_null(one.low),
            value_or_null(one.high), value_or_null(one.value), one.outcome});
  }
  t1station::Statement(
      database, "UPDATE attempt SET ended = started, outcome = ?, seconds = ?, description = ? WHERE id = ?")
      .bind(attempt.outcome)
      .bind(value_or_null(attempt.seconds))
      .bind(value_or_null(attempt.description))
      .bind(id)
      .run();
}

void store_end(t1station::Database& database, const Run& run) {
  t1station::Statement(database,
                       "UPDATE run SET ended = started, verdict = ?, retried = ?, "
                       "sequence = (SELECT coalesce(max(sequence), 0) + 1 FROM run) WHERE id = ?")
      .bind(*run.verdict)
      .bind(std::int64_t{run.is_retried})
      .bind(run.id)
      .run();
}

std::unique_ptr<t1station::Database> open_for_writing(const std::string& file) {
  if (!std::filesystem::exists(file)) t1station::Records{file};
  auto database = std::make_unique<t1station::Database>(file, t1station::Database::Access::write);
  database->execute("PRAGMA synchronous = OFF");
  return database;
}

}  // namespace

void store(const std::string& file, const Runs& runs) {
  const auto open = open_for_writing(file);
  t1station::Database& database = *open;
  t1station::Transaction transaction(database);
  for (const Run& run : runs) {
    using t1station::value_or_null;
    const std::string plan = run.plan + " " + run.version;
    t1station::Statement known(database, "SELECT 1 FROM plan WHERE id = ?");
    if (!known.bind(plan).step()) {
      insert(database, "plan (id, name, version, text)", {plan, run.plan, run.version, "x"});
    }
    insert(database, "run (id, serial, plan_id, kind, station, slot, number, started, software)",
           {run.id, run.serial, plan, run.kind, run.station, value_or_null(run.slot), std::int64_t{1},
            run.started, "test"});
    for (const Attempt& attempt : run.attempts) store_attempt(database, run, attempt);
    if (run.verdict) store_end(database, run);
  }
  transaction.commit();
}

void end(const std::string& file, const Run& run) {
  store_end(*open_for_writing(file), run);
}

}  // namespace figures_model
