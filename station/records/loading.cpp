#include "station/records/loading.h"

namespace t1station {
namespace {

std::vector<StoredMeasurement> load_measurements(Database& database, const std::string& attempt) {
  Statement rows(database,
                 "SELECT name, value, unit, low, high, outcome FROM measurement WHERE attempt_id = ? "
                 "ORDER BY position");
  std::vector<StoredMeasurement> measurements;
  for (rows.bind(attempt); rows.step();) {
    measurements.push_back({rows.text(0), rows.optional_real(1), rows.optional_text(2), rows.optional_real(3),
                            rows.optional_real(4), rows.text(5)});
  }
  return measurements;
}

StoredAttempt load_attempt_row(const Statement& row) {
  StoredAttempt attempt;
  int column = 0;
  attempt.id = row.text(column++);
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
  Statement connections(database, "SELECT id, at, board, build FROM connection WHERE run_id = ? ORDER BY id");
  for (connections.bind(run.id); connections.step();) {
    run.connections.push_back(
        {connections.text(0), connections.text(1), connections.text(2), connections.text(3)});
  }
  Statement attempts(database,
                     "SELECT id, connection_id, step, step_index, number, code, parameter, started, ended, "
                     "seconds, outcome, board_name, description, request, reply, console, answer "
                     "FROM attempt WHERE run_id = ? ORDER BY id");
  for (attempts.bind(run.id); attempts.step();) {
    StoredAttempt attempt = load_attempt_row(attempts);
    attempt.measurements = load_measurements(database, attempt.id);
    run.attempts.push_back(std::move(attempt));
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
