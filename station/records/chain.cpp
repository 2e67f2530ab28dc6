#include "station/records/chain.h"

#include <bit>
#include <stdexcept>

#include "station/records/identity.h"

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

std::string canonical_row(const Statement& row) {
  std::string bytes;
  for (int column = 0; column < row.columns(); ++column) bytes += canonical(row.value(column));
  return bytes;
}

std::string select(std::string_view columns, std::string_view rest) {
  return "SELECT " + std::string(columns) + " FROM " + std::string(rest);
}

std::string measurements(Database& database, const std::string& attempt) {
  std::string bytes;
  Statement rows(database,
                 select(measurement_columns(), "measurement WHERE attempt_id = ? ORDER BY position"));
  for (rows.bind(attempt); rows.step();) bytes += canonical_text("measurement") + canonical_row(rows);
  return bytes;
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

std::string run_hash(Database& database, std::string_view run) {
  Statement row(database, select(run_columns(), "run WHERE id = ?"));
  if (!row.bind(run).step()) throw std::invalid_argument("there is no run " + std::string(run));
  std::string bytes = canonical_text(kRunMark) + canonical_row(row);
  Statement connections(database, select(connection_columns(), "connection WHERE run_id = ? ORDER BY id"));
  for (connections.bind(run); connections.step();) {
    bytes += canonical_text("connection") + canonical_row(connections);
  }
  Statement attempts(database, select(attempt_columns(), "attempt WHERE run_id = ? ORDER BY id"));
  for (attempts.bind(run); attempts.step();) {
    bytes += canonical_text("attempt") + canonical_row(attempts) + measurements(database, attempts.text(0));
  }
  return sha256_hex(bytes);
}

std::string row_hash(std::string_view table, const std::vector<Value>& values) {
  std::string bytes = canonical_text(kRowMark) + canonical_text(table);
  for (const Value& value : values) bytes += canonical(value);
  return sha256_hex(bytes);
}

}  // namespace t1station
