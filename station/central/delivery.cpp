#include "station/central/delivery.h"

#include <algorithm>
#include <chrono>
#include <span>

#include "station/central/central_schema.h"

namespace t1station {
namespace {

using Commands = std::vector<Postgres::Command>;

// What is remembered with one commit of the station's file.
constexpr int kMostAtOnce = 100;
constexpr auto kLongestMoment = std::chrono::milliseconds(200);
// PostgreSQL takes 65,535 values with one statement.
constexpr std::size_t kMostValues = 10'000;

std::string insert_words(std::string_view table, std::string_view columns) {
  return "INSERT INTO " + std::string(table) + " (" + std::string(columns) + ") VALUES ";
}

// INSERTs of all these rows; `behind` stands behind each.
void insert(Commands& commands, const std::string& words, std::span<const Row> rows,
            std::string_view behind = {}) {
  while (!rows.empty()) {
    const std::size_t size = rows.front().size(), count = std::min(rows.size(), kMostValues / size);
    Postgres::Command command{words};
    for (const Row& row : rows.first(count)) {
      command.sql += command.values.empty() ? "(" : ", (";
      for (const Value& value : row) {
        command.values.push_back(value);
        command.sql += (&value == &row.front() ? "$" : ", $") + std::to_string(command.values.size());
      }
      command.sql += ")";
    }
    command.sql += behind;
    commands.push_back(std::move(command));
    rows = rows.subspan(count);
  }
}

Row with(Row row, const Value& value) {
  row.push_back(value);
  return row;
}

void insert_events(Commands& commands, std::vector<Row> events, const std::string& chain) {
  static const std::string words = insert_words("event", std::string(event_columns()) + ", hash, chain");
  for (Row& event : events) event.emplace_back(chain);
  insert(commands, words, events);
}

void insert_run(Commands& commands, const OutgoingRun& run, const std::string& chain) {
  static const std::string plans = insert_words("plan", "id, name, version, text"),
                           runs = insert_words("run", std::string(run_columns()) + ", hash, chain"),
                           connections = insert_words("connection", connection_columns()),
                           attempts = insert_words("attempt", attempt_columns()),
                           measurements = insert_words("measurement", measurement_columns());
  insert(commands, plans, std::span(&run.plan, 1), " ON CONFLICT (id) DO NOTHING");
  const Row row = with(with(run.rows.run, run.hash), chain);
  insert(commands, runs, std::span(&row, 1));
  insert(commands, connections, run.rows.connections);
  std::vector<Row> tries, measured;
  for (const AttemptRows& attempt : run.rows.attempts) {
    tries.push_back(attempt.attempt);
    measured.insert(measured.end(), attempt.measurements.begin(), attempt.measurements.end());
  }
  insert(commands, attempts, tries);
  insert(commands, measurements, measured);
}

// What is acknowledged must be on the database's disk; and what waits for another transaction must not wait
// for ever, nor must the server for a station that is gone.
void prepare_session(Postgres& database) {
  database.run(
      {{"SELECT set_config('synchronous_commit', 'on', false) "
        "WHERE current_setting('synchronous_commit') IN ('off', 'local')"},
       {"SELECT set_config('statement_timeout', '25s', false), set_config('lock_timeout', '20s', false), "
        "set_config('tcp_keepalives_idle', '30', false), set_config('tcp_keepalives_interval', '10', false), "
        "set_config('tcp_keepalives_count', '3', false)"}});
}

}  // namespace

Delivery::Delivery(Outbox& outbox, Postgres& database, Records& records)
    : outbox_(outbox), database_(database), records_(records) {
  prepare_session(database_);
  expect_central_tables(database_);
  runs_ = last_there("run");
  events_ = last_there("event");
  remembered_ = std::min(outbox_.last_forwarded(), runs_);
  remember();
}

// Since a hash goes over the one before it, the last one speaks for all.
std::int64_t Delivery::last_there(const std::string& table) {
  const Postgres::Rows last = database_.ask(
      "SELECT sequence, hash FROM " + table + " WHERE chain = $1 ORDER BY sequence DESC LIMIT 1",
      {Value(outbox_.chain())});
  if (last.empty()) return 0;
  const auto sequence = std::get<std::int64_t>(last.front()[0]);
  const std::optional<std::string> own =
      table == "run" ? outbox_.run_hash(sequence) : outbox_.event_hash(sequence);
  if (own && Value(*own) == last.front()[1]) return sequence;
  throw CentralTrouble("the database has another " + table + " " + std::to_string(sequence) +
                           " of this station than its file: one of the two was changed or put back from a "
                           "copy, or two stations use copies of one file",
                       "conflict");
}

bool Delivery::send_some() {
  const auto end = std::chrono::steady_clock::now() + kLongestMoment;
  int count = 0;
  try {
    while (count < kMostAtOnce && std::chrono::steady_clock::now() < end && send_next()) ++count;
  } catch (const CentralTrouble&) {
    remember();
    throw;
  }
  remember();
  return count > 0;
}

bool Delivery::send_next() {
  if (runs_ == outbox_.last_run()) return send_events();
  send_run(runs_ + 1);
  return true;
}

void Delivery::send_run(std::int64_t sequence) {
  const OutgoingRun run = outbox_.run(sequence);
  const std::vector<Row> events = outbox_.events(events_, sequence - 1, sequence);
  Commands commands;
  insert_run(commands, run, outbox_.chain());
  insert_events(commands, events, outbox_.chain());
  try {
    database_.run(commands);
  } catch (const CentralTrouble& trouble) {
    explain(run, trouble);
  }
  runs_ = sequence;
  events_ += static_cast<std::int64_t>(events.size());
  ++sent_;
}

// Those behind the last run go by themselves.
bool Delivery::send_events() {
  if (events_ == outbox_.last_event()) return false;
  const std::vector<Row> events = outbox_.events(events_, runs_, runs_);
  if (events.empty()) return false;
  Commands commands;
  insert_events(commands, events, outbox_.chain());
  database_.run(commands);
  events_ += static_cast<std::int64_t>(events.size());
  return true;
}

void Delivery::remember() {
  if (remembered_ == runs_) return;
  const std::vector<std::string> runs = outbox_.not_forwarded(remembered_ + 1, runs_);
  if (!runs.empty()) records_.mark_forwarded(runs);
  remembered_ = runs_;
}

// A key that is there already: the same run, which another connection brought there meanwhile, or another
// one.
void Delivery::explain(const OutgoingRun& run, const CentralTrouble& trouble) {
  constexpr std::string_view kIsThere = "23505";
  if (trouble.state() != kIsThere)
    throw CentralTrouble("run " + run.id + ": " + trouble.what(), trouble.state());
  const Postgres::Rows there = database_.ask("SELECT hash FROM run WHERE id = $1", {Value(run.id)});
  if (there.empty() || there.front().front() != Value(run.hash)) {
    throw CentralTrouble(
        "the database has something else under the keys of run " + run.id + ": " + trouble.what(),
        "conflict");
  }
  throw CentralTrouble("run " + run.id + " came there another way");  // asked anew, it is found
}

std::int64_t forward_all(const std::string& url, const std::string& file, Records& records,
                         const CentralPatience& patience, int stop) {
  Outbox outbox(file);
  Postgres database(url, patience, stop);
  Delivery delivery(outbox, database, records);
  while (delivery.send_some()) continue;
  return delivery.sent();
}

}  // namespace t1station
