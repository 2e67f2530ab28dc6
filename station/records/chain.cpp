#include "station/records/chain.h"

#include <bit>
#include <stdexcept>
#include <utility>

#include "station/text/sha256.h"

namespace t1station {
namespace {

// Changes with the form, so that a hash never stands for two.
constexpr std::string_view kRunMark = "boardtest run 1";
constexpr std::string_view kRowMark = "boardtest row 1";

std::string eight_bytes(std::uint64_t number) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(number >> static_cast<unsigned>(shift) & 0xFFU);
  }
  return bytes;
}

std::string with_size(char mark, std::string_view bytes) {
  return mark + eight_bytes(bytes.size()) + std::string(bytes);
}

std::string canonical_text(std::string_view text) {
  return with_size('T', text);
}

std::string canonical_row(const Row& row) {
  std::string bytes;
  for (const Value& value : row) bytes += canonical(value);
  return bytes;
}

Row values_of(const Statement& row) {
  Row values;
  for (int column = 0; column < row.columns(); ++column) values.push_back(row.value(column));
  return values;
}

std::string select(std::string_view columns, std::string_view rest) {
  return "SELECT " + std::string(columns) + " FROM " + std::string(rest);
}

std::vector<Row> rows_of(Database& database, const std::string& sql, std::string_view id) {
  std::vector<Row> rows;
  Statement statement(database, sql);
  for (statement.bind(id); statement.step();) rows.push_back(values_of(statement));
  return rows;
}

}  // namespace

std::string_view run_columns() {
  return "id, serial, plan_id, kind, station, slot, operator, board, build, number, started, ended, seconds, "
         "verdict, reason, retried, software, sequence, previous";
}

std::string_view connection_columns() {
  return "id, run_id, at, board, build";
}

std::string_view attempt_columns() {
  return "id, run_id, connection_id, step, step_index, number, code, parameter, started, ended, seconds, "
         "outcome, board_name, description, request, reply, console, answer";
}

std::string_view measurement_columns() {
  return "attempt_id, position, name, value, unit, low, high, outcome";
}

std::string_view event_columns() {
  return "id, at, kind, slot, run_id, operator, detail, serial, sequence, runs_ended, previous";
}

std::string canonical(const Value& value) {
  if (const auto* integer = std::get_if<std::int64_t>(&value)) {
    return "I" + eight_bytes(static_cast<std::uint64_t>(*integer));
  }
  if (const auto* real = std::get_if<double>(&value))
    return "R" + eight_bytes(std::bit_cast<std::uint64_t>(*real));
  if (const auto* text = std::get_if<std::string>(&value)) return canonical_text(*text);
  if (const auto* blob = std::get_if<Blob>(&value)) return with_size('B', blob->bytes);
  return "N";
}

RunRows load_run_rows(Database& database, std::string_view run) {
  static const std::string runs = select(run_columns(), "run WHERE id = ?"),
                           connections =
                               select(connection_columns(), "connection WHERE run_id = ? ORDER BY id"),
                           attempts = select(attempt_columns(), "attempt WHERE run_id = ? ORDER BY id"),
                           measurements = select(measurement_columns(),
                                                 "measurement WHERE attempt_id = ? ORDER BY position");
  std::vector<Row> found = rows_of(database, runs, run);
  if (found.empty()) throw std::invalid_argument("there is no run " + std::string(run));
  RunRows rows{std::move(found.front()), rows_of(database, connections, run), {}};
  for (Row& attempt : rows_of(database, attempts, run)) {
    std::vector<Row> measured = rows_of(database, measurements, std::get<std::string>(attempt.front()));
    rows.attempts.push_back({std::move(attempt), std::move(measured)});
  }
  return rows;
}

std::string run_hash(const RunRows& rows) {
  std::string bytes = canonical_text(kRunMark) + canonical_row(rows.run);
  for (const Row& connection : rows.connections)
    bytes += canonical_text("connection") + canonical_row(connection);
  for (const AttemptRows& attempt : rows.attempts) {
    bytes += canonical_text("attempt") + canonical_row(attempt.attempt);
    for (const Row& measurement : attempt.measurements) {
      bytes += canonical_text("measurement") + canonical_row(measurement);
    }
  }
  return sha256_hex(bytes);
}

std::string run_hash(Database& database, std::string_view run) {
  return run_hash(load_run_rows(database, run));
}

std::string row_hash(std::string_view table, const Row& values) {
  return sha256_hex(canonical_text(kRowMark) + canonical_text(table) + canonical_row(values));
}

}  // namespace t1station
