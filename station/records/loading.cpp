#include "station/records/loading.h"

namespace t1station {
namespace {

/// A row that was read before, as a statement shows it.
class ReadRow {
 public:
  explicit ReadRow(const Row& row) : row_(row) {}

  std::string text(int column) const { return optional_text(column).value_or(""); }
  std::int64_t integer(int column) const { return optional_integer(column).value_or(0); }
  std::optional<std::string> optional_text(int column) const {
    if (const auto* blob = std::get_if<Blob>(&at(column))) return blob->bytes;
    return as<std::string>(column);
  }
  std::optional<std::int64_t> optional_integer(int column) const { return as<std::int64_t>(column); }
  std::optional<double> optional_real(int column) const { return as<double>(column); }

 private:
  const Value& at(int column) const { return row_.at(static_cast<std::size_t>(column)); }
  template <typename T>
  std::optional<T> as(int column) const {
    const T* value = std::get_if<T>(&at(column));
    return value ? std::optional(*value) : std::nullopt;
  }
  const Row& row_;
};

// Rows have the columns of the chain.
template <typename AnyRow>
StoredMeasurement measurement_in(const AnyRow& row) {
  constexpr int kName = 2;
  return {row.text(kName),
          row.optional_real(kName + 1),
          row.optional_text(kName + 2),
          row.optional_real(kName + 3),
          row.optional_real(kName + 4),
          row.text(kName + 5)};
}

template <typename AnyRow>
StoredConnection connection_in(const AnyRow& row) {
  return {row.text(0), row.text(2), row.text(3), row.text(4)};
}

template <typename AnyRow>
StoredAttempt attempt_in(const AnyRow& row) {
  StoredAttempt attempt;
  attempt.id = row.text(0);
  int column = 2;  // behind its run
  attempt.connection_id = row.optional_text(column++);
  attempt.step = row.text(column++);
  attempt.step_index = row.integer(column++);
  attempt.number = row.integer(column++);
  attempt.code = row.integer(column++);
  attempt.parameter = row.optional_integer(column++);
  attempt.started = row.text(column++);
  attempt.ended = row.optional_text(column++);
  attempt.seconds = row.optional_real(column++);
  attempt.outcome = row.optional_text(column++);
  attempt.board_name = row.optional_text(column++);
  attempt.description = row.optional_text(column++);
  attempt.request = row.text(column++);
  attempt.reply = row.optional_text(column++);
  attempt.console = row.optional_text(column++);
  attempt.answer = row.optional_text(column++);
  return attempt;
}

// What belongs to a run, a row of it at a time.
template <typename Part>
void each_part(Database& database, std::string_view columns, const std::string& rest, const std::string& id,
               const Part& part) {
  Statement rows(database, "SELECT " + std::string(columns) + " FROM " + rest);
  for (rows.bind(id); rows.step();) part(rows);
}

}  // namespace

std::string_view select_runs() {
  return "SELECT run.id, run.serial, run.plan_id, plan.name, plan.version, run.kind, run.station, run.slot, "
         "run.operator, run.board, run.build, run.number, run.started, run.ended, run.seconds, run.verdict, "
         "run.reason, run.retried, run.software, run.sequence, run.previous, run.hash "
         "FROM run CROSS JOIN plan ON plan.id = run.plan_id ";
}

StoredRun load_run_row(const Statement& row) {
  StoredRun run;
  int column = 0;
  run.id = row.text(column++);
  run.serial = row.text(column++);
  run.plan_id = row.text(column++);
  run.plan_name = row.text(column++);
  run.plan_version = row.text(column++);
  run.kind = row.text(column++);
  run.station = row.text(column++);
  run.slot = row.optional_text(column++);
  run.operator_name = row.optional_text(column++);
  run.board = row.optional_text(column++);
  run.build = row.optional_text(column++);
  run.number = row.integer(column++);
  run.started = row.text(column++);
  run.ended = row.optional_text(column++);
  run.seconds = row.optional_real(column++);
  run.verdict = row.optional_text(column++);
  run.reason = row.optional_text(column++);
  run.retried = row.optional_integer(column++);
  run.software = row.text(column++);
  run.sequence = row.optional_integer(column++);
  run.previous = row.optional_text(column++);
  run.hash = row.optional_text(column++);
  return run;
}

void load_parts(Database& database, StoredRun& run) {
  each_part(database, connection_columns(), "connection WHERE run_id = ? ORDER BY id", run.id,
            [&run](const Statement& row) { run.connections.push_back(connection_in(row)); });
  each_part(database, attempt_columns(), "attempt WHERE run_id = ? ORDER BY id", run.id,
            [&run](const Statement& row) { run.attempts.push_back(attempt_in(row)); });
  for (StoredAttempt& attempt : run.attempts) {
    each_part(database, measurement_columns(), "measurement WHERE attempt_id = ? ORDER BY position",
              attempt.id,
              [&attempt](const Statement& row) { attempt.measurements.push_back(measurement_in(row)); });
  }
}

void add_parts(const RunRows& rows, StoredRun& run) {
  for (const Row& row : rows.connections) run.connections.push_back(connection_in(ReadRow(row)));
  for (const AttemptRows& of_attempt : rows.attempts) {
    run.attempts.push_back(attempt_in(ReadRow(of_attempt.attempt)));
    for (const Row& row : of_attempt.measurements) {
      run.attempts.back().measurements.push_back(measurement_in(ReadRow(row)));
    }
  }
}

std::optional<StoredRun> load_run(Database& database, std::string_view id) {
  static const std::string select = std::string(select_runs()) + "WHERE run.id = ?";
  Statement row(database, select);
  if (!row.bind(id).step()) return std::nullopt;
  StoredRun run = load_run_row(row);
  load_parts(database, run);
  return run;
}

}  // namespace t1station
