#include "station/central/central_schema.h"

#include <algorithm>
#include <array>
#include <optional>

#include "station/records/records.h"

namespace t1station {
namespace {

constexpr std::string_view kRun = R"(CREATE TABLE run (
  id text COLLATE "C" PRIMARY KEY,
  serial text COLLATE "C" NOT NULL,
  plan_id text COLLATE "C" NOT NULL REFERENCES plan,
  kind text COLLATE "C" NOT NULL CHECK (kind IN ('production', 'check')),
  station text COLLATE "C" NOT NULL,
  slot text COLLATE "C",
  operator text COLLATE "C",
  board text COLLATE "C",
  build text COLLATE "C",
  number bigint NOT NULL,
  started timestamptz NOT NULL,
  ended timestamptz NOT NULL,
  seconds double precision,
  verdict text COLLATE "C" NOT NULL CHECK (verdict IN ('passed', 'failed', 'error', 'stopped', 'interrupted')),
  reason text COLLATE "C",
  retried bigint NOT NULL CHECK (retried IN (0, 1)),
  software text COLLATE "C" NOT NULL,
  sequence bigint NOT NULL,
  previous text COLLATE "C",
  hash text COLLATE "C" NOT NULL,
  chain text COLLATE "C" NOT NULL,
  UNIQUE (chain, sequence)
))";

constexpr std::string_view kAttempt = R"(CREATE TABLE attempt (
  id text COLLATE "C" PRIMARY KEY,
  run_id text COLLATE "C" NOT NULL REFERENCES run,
  connection_id text COLLATE "C" REFERENCES connection,
  step text COLLATE "C" NOT NULL,
  step_index bigint NOT NULL,
  number bigint NOT NULL,
  code bigint NOT NULL,
  parameter bigint,
  started timestamptz NOT NULL,
  ended timestamptz NOT NULL,
  seconds double precision,
  outcome text COLLATE "C" NOT NULL
    CHECK (outcome IN ('passed', 'failed', 'timed_out', 'broken', 'stopped', 'interrupted')),
  board_name text COLLATE "C",
  description text COLLATE "C",
  request bytea NOT NULL,
  reply bytea,
  console bytea,
  answer text COLLATE "C" CHECK (answer IN ('yes', 'no')),
  UNIQUE (run_id, step_index, number)
))";

constexpr std::array<std::string_view, 16> kCentralParts{
    "CREATE TABLE boardtest_schema (version bigint PRIMARY KEY, at timestamptz NOT NULL DEFAULT now())",
    R"(CREATE TABLE plan (
  id text COLLATE "C" PRIMARY KEY,
  name text COLLATE "C" NOT NULL,
  version text COLLATE "C" NOT NULL,
  text text COLLATE "C" NOT NULL
))",
    kRun,
    R"(CREATE TABLE connection (
  id text COLLATE "C" PRIMARY KEY,
  run_id text COLLATE "C" NOT NULL REFERENCES run,
  at timestamptz NOT NULL,
  board text COLLATE "C" NOT NULL,
  build text COLLATE "C" NOT NULL
))",
    kAttempt,
    R"(CREATE TABLE measurement (
  attempt_id text COLLATE "C" NOT NULL REFERENCES attempt,
  position bigint NOT NULL,
  name text COLLATE "C" NOT NULL,
  value double precision,
  unit text COLLATE "C",
  low double precision,
  high double precision,
  outcome text COLLATE "C" NOT NULL CHECK (outcome IN ('passed', 'low', 'high', 'not_found')),
  PRIMARY KEY (attempt_id, position)
))",
    R"(CREATE TABLE event (
  id text COLLATE "C" PRIMARY KEY,
  at timestamptz NOT NULL,
  kind text COLLATE "C" NOT NULL,
  slot text COLLATE "C",
  run_id text COLLATE "C" REFERENCES run,
  operator text COLLATE "C",
  detail text COLLATE "C",
  serial text COLLATE "C",
  sequence bigint NOT NULL,
  runs_ended bigint NOT NULL,
  previous text COLLATE "C",
  hash text COLLATE "C" NOT NULL,
  chain text COLLATE "C" NOT NULL,
  UNIQUE (chain, sequence)
))",
    "CREATE INDEX run_by_serial ON run (serial)",
    "CREATE INDEX run_by_start ON run (started)",
    "CREATE INDEX run_by_plan ON run (plan_id)",
    "CREATE INDEX connection_by_run ON connection (run_id)",
    "CREATE INDEX attempt_by_connection ON attempt (connection_id)",
    "CREATE INDEX plan_by_name ON plan (name, version)",
    "CREATE INDEX event_by_serial ON event (serial, kind, sequence)",
    "CREATE INDEX event_by_run ON event (run_id)",
    "CREATE FUNCTION boardtest_refuse() RETURNS trigger LANGUAGE plpgsql AS "
    "$$ BEGIN RAISE EXCEPTION 'records are never changed or deleted'; END $$",
};

constexpr std::array<std::string_view, 6> kCentralTables{"plan",    "run",         "connection",
                                                         "attempt", "measurement", "event"};

std::optional<std::int64_t> version_of(Postgres& database) {
  const Postgres::Rows known = database.ask("SELECT to_regclass('boardtest_schema') IS NOT NULL");
  if (known.front().front() == Value(std::int64_t{0})) return std::nullopt;
  const Postgres::Rows rows = database.ask("SELECT max(version) FROM boardtest_schema");
  const auto* version = std::get_if<std::int64_t>(&rows.front().front());
  return version ? *version : 0;
}

// Stations that start at the same moment make the tables one behind the other: all but the first find them.
Postgres::Command alone() {
  return {"SELECT pg_advisory_xact_lock(1412526691)::text"};
}

// Boards' words are Chinese, and stations send UTF-8.
void expect_utf8(Postgres& database) {
  const Postgres::Rows rows = database.ask("SELECT current_setting('server_encoding')");
  const std::string& encoding = std::get<std::string>(rows.front().front());
  if (encoding != "UTF8") {
    throw RecordsRefused("the database's texts are " + encoding +
                         ", records are UTF-8: make one with ENCODING 'UTF8'");
  }
}

void make_central_tables(Postgres& database) {
  expect_utf8(database);
  std::vector<Postgres::Command> commands{alone()};
  for (const std::string_view part : kCentralParts) commands.push_back({std::string(part)});
  for (const std::string_view table : kCentralTables) {
    commands.push_back({"CREATE TRIGGER refuse BEFORE UPDATE OR DELETE OR TRUNCATE ON " + std::string(table) +
                        " FOR EACH STATEMENT EXECUTE FUNCTION boardtest_refuse()"});
  }
  commands.push_back(
      {"INSERT INTO boardtest_schema (version) VALUES ($1::bigint)", {Value(kCentralVersion)}});
  try {
    database.run(commands);
  } catch (const CentralTrouble& trouble) {
    constexpr std::string_view kIsThere = "42P07";
    if (trouble.state() != kIsThere || !version_of(database)) throw;
  }
}

[[noreturn]] void refuse_newer(std::int64_t version, std::int64_t known) {
  throw RecordsRefused("the database was made by a newer t1station (version " + std::to_string(version) +
                       " of its tables, this one knows " + std::to_string(known) + ")");
}

void migrate(Postgres& database, const CentralMigration& step) {
  std::vector<Postgres::Command> commands{alone()};
  for (const std::string& statement : step.statements) commands.push_back({statement});
  commands.push_back({"INSERT INTO boardtest_schema (version) VALUES ($1::bigint)", {Value(step.from + 1)}});
  database.run(commands);
}

}  // namespace

std::span<const CentralMigration> central_migrations() {
  return {};  // version 1 is the first
}

std::int64_t bring_central_up_to_date(Postgres& database, std::span<const CentralMigration> steps,
                                      std::int64_t target) {
  const std::optional<std::int64_t> found = version_of(database);
  if (!found) {
    make_central_tables(database);
    return 0;
  }
  if (*found > target) refuse_newer(*found, target);
  for (std::int64_t from = *found; from < target; ++from) {
    const auto step = std::find_if(steps.begin(), steps.end(),
                                   [from](const CentralMigration& known) { return known.from == from; });
    if (step == steps.end()) {
      throw RecordsRefused("the database's tables are of version " + std::to_string(from) +
                           ", which this t1station cannot bring up to date");
    }
    migrate(database, *step);
  }
  return *found;
}

void expect_central_tables(Postgres& database) {
  if (!version_of(database)) {
    try {
      make_central_tables(database);
    } catch (const CentralTrouble& trouble) {
      constexpr std::string_view kNoRight = "42501";
      if (trouble.state() != kNoRight) throw;
      throw RecordsRefused(
          "the database has no tables for records yet, and this role may not make them: "
          "\"t1station records central init\" does, for somebody who may");
    }
  }
  expect_central_tables_for_reading(database);
}

void expect_central_tables_for_reading(Postgres& database) {
  const std::optional<std::int64_t> version = version_of(database);
  if (!version) throw RecordsRefused("there are no records in the database yet");
  if (*version > kCentralVersion) refuse_newer(*version, kCentralVersion);
  if (*version < kCentralVersion) {
    throw RecordsRefused("the database's tables are of version " + std::to_string(*version) +
                         ": \"t1station records central init\" brings them up to date");
  }
}

void expect_role(Postgres& database, std::string_view role) {
  const Postgres::Rows found =
      database.ask("SELECT 1 FROM pg_roles WHERE rolname = $1", {Value(std::string(role))});
  if (found.empty()) throw RecordsRefused("there is no role " + std::string(role) + " on this server");
}

void grant_to_station(Postgres& database, std::string_view role) {
  const Postgres::Rows found = database.ask(
      "SELECT current_schema()::text, pg_has_role($1::name, relowner, 'USAGE') "
      "FROM pg_class WHERE oid = 'run'::regclass",
      {Value(std::string(role))});
  if (found.front()[1] == Value(std::int64_t{1})) {
    throw RecordsRefused(
        std::string(role) +
        " owns the tables or is a superuser, and could change records: a station's role must "
        "be another one");
  }
  const std::string to = quoted_identifier(role);
  const std::string schema = quoted_identifier(std::get<std::string>(found.front()[0]));
  std::vector<Postgres::Command> commands{{"GRANT USAGE ON SCHEMA " + schema + " TO " + to},
                                          {"GRANT SELECT ON boardtest_schema TO " + to}};
  for (const std::string_view table : kCentralTables) {
    commands.push_back({"REVOKE ALL ON " + std::string(table) + " FROM " + to});
    commands.push_back({"GRANT SELECT, INSERT ON " + std::string(table) + " TO " + to});
  }
  database.run(commands);
  // Who does not own the tables is only warned.
  const Postgres::Rows granted = database.ask(
      "SELECT has_table_privilege($1::name, 'run', 'SELECT') AND has_table_privilege($1::name, 'run', "
      "'INSERT')",
      {Value(std::string(role))});
  if (granted.front().front() != Value(std::int64_t{1})) {
    throw RecordsRefused("this role does not own the tables and cannot let " + std::string(role) +
                         " use them: their owner can");
  }
}

}  // namespace t1station
