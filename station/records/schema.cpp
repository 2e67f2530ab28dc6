#include "station/records/schema.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "station/records/records.h"

namespace t1station {
namespace {

constexpr std::string_view kRunTable = R"(CREATE TABLE run (
  id TEXT NOT NULL PRIMARY KEY,
  serial TEXT NOT NULL,
  plan_id TEXT NOT NULL REFERENCES plan(id),
  kind TEXT NOT NULL CHECK (kind IN ('production', 'check')),
  station TEXT NOT NULL,
  slot TEXT,
  operator TEXT,
  board TEXT,
  build TEXT,
  number INTEGER NOT NULL,
  started TEXT NOT NULL,
  ended TEXT,
  seconds REAL,
  verdict TEXT CHECK (verdict IN ('passed', 'failed', 'error', 'stopped', 'interrupted')),
  reason TEXT,
  retried INTEGER CHECK (retried IN (0, 1)),
  software TEXT NOT NULL,
  sequence INTEGER UNIQUE,
  previous TEXT,
  hash TEXT,
  CHECK ((verdict IS NULL) = (ended IS NULL) AND (verdict IS NULL) = (sequence IS NULL)),
  CHECK ((verdict IS NULL) = (retried IS NULL)),
  CHECK (hash IS NULL OR verdict IS NOT NULL)
) STRICT, WITHOUT ROWID)";

constexpr std::string_view kAttemptTable = R"(CREATE TABLE attempt (
  id TEXT NOT NULL PRIMARY KEY,
  run_id TEXT NOT NULL REFERENCES run(id),
  connection_id TEXT REFERENCES connection(id),
  step TEXT NOT NULL,
  step_index INTEGER NOT NULL,
  number INTEGER NOT NULL,
  code INTEGER NOT NULL,
  parameter INTEGER,
  started TEXT NOT NULL,
  ended TEXT,
  seconds REAL,
  outcome TEXT CHECK (outcome IN ('passed', 'failed', 'timed_out', 'broken', 'stopped', 'interrupted')),
  board_name TEXT,
  description TEXT,
  request BLOB NOT NULL,
  reply BLOB,
  console BLOB,
  answer TEXT CHECK (answer IN ('yes', 'no')),
  UNIQUE (run_id, step_index, number),
  CHECK ((outcome IS NULL) = (ended IS NULL))
) STRICT, WITHOUT ROWID)";

// A replacing INSERT or UPDATE deletes without asking a trigger for deletions: what it would replace is
// looked for before.
constexpr std::string_view kRunInsert = R"(CREATE TRIGGER run_insert BEFORE INSERT ON run
WHEN NEW.verdict IS NOT NULL OR NEW.ended IS NOT NULL OR NEW.hash IS NOT NULL OR NEW.previous IS NOT NULL
  OR EXISTS (SELECT 1 FROM run WHERE id = NEW.id)
BEGIN SELECT RAISE(ABORT, 'a run is stored once, and without its end'); END)";

constexpr std::string_view kRunUpdate = R"(CREATE TRIGGER run_update BEFORE UPDATE ON run
WHEN OLD.hash IS NOT NULL
  OR (OLD.id, OLD.serial, OLD.plan_id, OLD.kind, OLD.station, OLD.slot, OLD.operator, OLD.number, OLD.started,
      OLD.software)
    IS NOT (NEW.id, NEW.serial, NEW.plan_id, NEW.kind, NEW.station, NEW.slot, NEW.operator, NEW.number,
            NEW.started, NEW.software)
  OR (OLD.board IS NOT NULL AND OLD.board IS NOT NEW.board)
  OR (OLD.build IS NOT NULL AND OLD.build IS NOT NEW.build)
  OR (OLD.verdict IS NOT NULL AND (OLD.ended, OLD.seconds, OLD.verdict, OLD.reason, OLD.retried, OLD.sequence,
        OLD.previous) IS NOT (NEW.ended, NEW.seconds, NEW.verdict, NEW.reason, NEW.retried, NEW.sequence,
        NEW.previous))
  OR (OLD.verdict IS NULL AND NEW.hash IS NOT NULL)
  OR (OLD.sequence IS NULL AND NEW.sequence IS NOT NULL
    AND NEW.sequence <> (SELECT coalesce(max(sequence), 0) + 1 FROM run))
BEGIN SELECT RAISE(ABORT, 'what is stored of a run stays; only its open end is filled, once'); END)";

constexpr std::string_view kAttemptInsert = R"(CREATE TRIGGER attempt_insert BEFORE INSERT ON attempt
WHEN NEW.outcome IS NOT NULL OR EXISTS (SELECT 1 FROM attempt WHERE id = NEW.id)
  OR EXISTS (SELECT 1 FROM attempt
    WHERE run_id = NEW.run_id AND step_index = NEW.step_index AND number = NEW.number)
  OR EXISTS (SELECT 1 FROM run WHERE id = NEW.run_id AND verdict IS NOT NULL)
BEGIN SELECT RAISE(ABORT, 'an attempt is stored once, without its end, in a run that has not ended'); END)";

constexpr std::string_view kAttemptUpdate = R"(CREATE TRIGGER attempt_update BEFORE UPDATE ON attempt
WHEN OLD.outcome IS NOT NULL OR NEW.outcome IS NULL
  OR (OLD.id, OLD.run_id, OLD.connection_id, OLD.step, OLD.step_index, OLD.number, OLD.code, OLD.parameter,
      OLD.started, OLD.request)
    IS NOT (NEW.id, NEW.run_id, NEW.connection_id, NEW.step, NEW.step_index, NEW.number, NEW.code, NEW.parameter,
            NEW.started, NEW.request)
BEGIN SELECT RAISE(ABORT, 'what is stored of an attempt stays; only its open end is filled, once'); END)";

constexpr std::array<SchemaPart, 29> kParts{{
    {"plan", R"(CREATE TABLE plan (
  id TEXT NOT NULL PRIMARY KEY,
  name TEXT NOT NULL,
  version TEXT NOT NULL,
  text TEXT NOT NULL
) STRICT, WITHOUT ROWID)"},
    {"run", kRunTable},
    {"connection", R"(CREATE TABLE connection (
  id TEXT NOT NULL PRIMARY KEY,
  run_id TEXT NOT NULL REFERENCES run(id),
  at TEXT NOT NULL,
  board TEXT NOT NULL,
  build TEXT NOT NULL
) STRICT, WITHOUT ROWID)"},
    {"attempt", kAttemptTable},
    {"measurement", R"(CREATE TABLE measurement (
  attempt_id TEXT NOT NULL REFERENCES attempt(id),
  position INTEGER NOT NULL,
  name TEXT NOT NULL,
  value REAL,
  unit TEXT,
  low REAL,
  high REAL,
  outcome TEXT NOT NULL CHECK (outcome IN ('passed', 'low', 'high', 'not_found')),
  PRIMARY KEY (attempt_id, position)
) STRICT, WITHOUT ROWID)"},
    {"event", R"(CREATE TABLE event (
  id TEXT NOT NULL PRIMARY KEY,
  at TEXT NOT NULL,
  kind TEXT NOT NULL,
  slot TEXT,
  run_id TEXT REFERENCES run(id),
  operator TEXT,
  detail TEXT,
  serial TEXT,
  sequence INTEGER NOT NULL UNIQUE,
  runs_ended INTEGER NOT NULL,
  previous TEXT,
  hash TEXT NOT NULL
) STRICT, WITHOUT ROWID)"},
    {"forwarded", R"(CREATE TABLE forwarded (
  run_id TEXT NOT NULL PRIMARY KEY REFERENCES run(id),
  at TEXT NOT NULL,
  hash TEXT NOT NULL
) STRICT, WITHOUT ROWID)"},
    {"run_by_serial", "CREATE INDEX run_by_serial ON run (serial)"},
    {"run_by_start", "CREATE INDEX run_by_start ON run (started)"},
    {"run_by_plan", "CREATE INDEX run_by_plan ON run (plan_id)"},
    {"run_open", "CREATE INDEX run_open ON run (id) WHERE verdict IS NULL"},
    {"connection_by_run", "CREATE INDEX connection_by_run ON connection (run_id)"},
    {"plan_by_name", "CREATE INDEX plan_by_name ON plan (name, version)"},
    {"event_by_serial", "CREATE INDEX event_by_serial ON event (serial, kind, sequence)"},
    {"event_by_run", "CREATE INDEX event_by_run ON event (run_id)"},
    {"run_insert", kRunInsert},
    {"run_update", kRunUpdate},
    {"attempt_insert", kAttemptInsert},
    {"attempt_update", kAttemptUpdate},
    {"connection_insert", R"(CREATE TRIGGER connection_insert BEFORE INSERT ON connection
WHEN EXISTS (SELECT 1 FROM connection WHERE id = NEW.id)
  OR EXISTS (SELECT 1 FROM run WHERE id = NEW.run_id AND verdict IS NOT NULL)
BEGIN SELECT RAISE(ABORT, 'a connection is stored once, in a run that has not ended'); END)"},
    {"measurement_insert", R"(CREATE TRIGGER measurement_insert BEFORE INSERT ON measurement
WHEN EXISTS (SELECT 1 FROM measurement WHERE attempt_id = NEW.attempt_id AND position = NEW.position)
  OR EXISTS (SELECT 1 FROM attempt WHERE id = NEW.attempt_id AND outcome IS NOT NULL)
BEGIN SELECT RAISE(ABORT, 'a measurement is stored once, in an attempt that has not ended'); END)"},
    {"plan_insert", R"(CREATE TRIGGER plan_insert BEFORE INSERT ON plan
WHEN EXISTS (SELECT 1 FROM plan WHERE id = NEW.id)
BEGIN SELECT RAISE(ABORT, 'a plan is stored once'); END)"},
    {"event_insert", R"(CREATE TRIGGER event_insert BEFORE INSERT ON event
WHEN EXISTS (SELECT 1 FROM event WHERE id = NEW.id)
  OR NEW.sequence <> (SELECT coalesce(max(sequence), 0) + 1 FROM event)
BEGIN SELECT RAISE(ABORT, 'an event is stored once, behind all others'); END)"},
    {"forwarded_insert", R"(CREATE TRIGGER forwarded_insert BEFORE INSERT ON forwarded
WHEN EXISTS (SELECT 1 FROM forwarded WHERE run_id = NEW.run_id)
BEGIN SELECT RAISE(ABORT, 'a run is forwarded once'); END)"},
    {"plan_update",
     "CREATE TRIGGER plan_update BEFORE UPDATE ON plan\n"
     "BEGIN SELECT RAISE(ABORT, 'a plan is never changed'); END"},
    {"connection_update",
     "CREATE TRIGGER connection_update BEFORE UPDATE ON connection\n"
     "BEGIN SELECT RAISE(ABORT, 'a connection is never changed'); END"},
    {"measurement_update",
     "CREATE TRIGGER measurement_update BEFORE UPDATE ON measurement\n"
     "BEGIN SELECT RAISE(ABORT, 'a measurement is never changed'); END"},
    {"event_update",
     "CREATE TRIGGER event_update BEFORE UPDATE ON event\n"
     "BEGIN SELECT RAISE(ABORT, 'an event is never changed'); END"},
    {"forwarded_update",
     "CREATE TRIGGER forwarded_update BEFORE UPDATE ON forwarded\n"
     "BEGIN SELECT RAISE(ABORT, 'what was forwarded stays so'); END"},
}};

constexpr std::array<std::string_view, 7> kTables{"plan",        "run",   "connection", "attempt",
                                                  "measurement", "event", "forwarded"};

std::vector<std::string> deletion_triggers() {
  std::vector<std::string> triggers;
  for (const std::string_view table : kTables) {
    triggers.push_back("CREATE TRIGGER " + std::string(table) + "_delete BEFORE DELETE ON " +
                       std::string(table) + "\nBEGIN SELECT RAISE(ABORT, 'records are never deleted'); END");
  }
  return triggers;
}

std::vector<SchemaPart> all_parts() {
  static const std::vector<std::string> deletions = deletion_triggers();
  std::vector<SchemaPart> parts(kParts.begin(), kParts.end());
  for (const std::string& sql : deletions) {
    const std::size_t start = std::string_view("CREATE TRIGGER ").size();
    parts.push_back({std::string_view(sql).substr(start, sql.find(' ', start) - start), sql});
  }
  return parts;
}

std::int64_t pragma(Database& database, const std::string& name) {
  const Value value = database.single("PRAGMA " + name);
  const auto* number = std::get_if<std::int64_t>(&value);
  return number ? *number : -1;
}

void set_version(Database& database, std::int64_t version) {
  database.execute("PRAGMA user_version = " + std::to_string(version));
}

void make_tables(Database& database) {
  for (const SchemaPart& part : schema_parts()) database.execute(std::string(part.sql));
  database.execute("PRAGMA application_id = " + std::to_string(kApplicationId));
  set_version(database, kSchemaVersion);
}

// Syncs what stands at a path, a file or a folder.
void sync_path(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool is_synced = file >= 0 && fsync(file) == 0;
  const int reason = errno;
  if (file >= 0) close(file);
  if (!is_synced) throw RecordsRefused("the copy " + path + " cannot be synced: " + std::strerror(reason));
}

// The file as it was before it is migrated.
void make_copy(Database& database, const std::string& file, std::int64_t version) {
  std::string time = record_time();
  std::replace(time.begin(), time.end(), ':', '-');
  const std::string copy = file + ".version-" + std::to_string(version) + "-" + time;
  Statement(database, "VACUUM INTO ?").bind(copy).run();
  sync_path(copy);
  const std::filesystem::path folder = std::filesystem::path(copy).parent_path();
  sync_path(folder.empty() ? "." : folder.string());
}

}  // namespace

std::span<const SchemaPart> schema_parts() {
  static const std::vector<SchemaPart> parts = all_parts();
  return parts;
}

std::span<const Migration> migrations() {
  return {};  // version 1 is the first
}

void prepare_connection(Database& database, const std::string& file, Database::Access access) {
  database.execute("PRAGMA mmap_size = 0; PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON");
  if (access != Database::Access::write) {
    database.execute("PRAGMA query_only = ON");
    return;
  }
  if (database.single("PRAGMA journal_mode = WAL") != Value("wal")) {
    throw RecordsRefused(file + " cannot have the write-ahead file (WAL) that records need, where it is");
  }
  database.execute("PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON; PRAGMA fullfsync = ON");
  if (pragma(database, "synchronous") != 2 || pragma(database, "foreign_keys") != 1) {
    throw RecordsRefused("this PC's SQLite cannot sync each commit of " + file);
  }
}

void bring_up_to_date(Database& database, const std::string& file, std::span<const Migration> steps,
                      std::int64_t target) {
  const std::int64_t application = pragma(database, "application_id");
  const std::int64_t things = std::get<std::int64_t>(database.single("SELECT count(*) FROM sqlite_schema"));
  if (application == 0 && things == 0) {
    Transaction transaction(database);
    make_tables(database);
    transaction.commit();
    return;
  }
  if (application != kApplicationId) {
    throw RecordsRefused(file + " is another application's database");
  }
  const std::int64_t version = pragma(database, "user_version");
  if (version > target) {
    throw RecordsRefused(file + " was written by a newer t1station (version " + std::to_string(version) +
                         " of the records, this one knows " + std::to_string(target) + ")");
  }
  if (version == target) return;
  std::vector<const Migration*> way;
  for (std::int64_t from = version; from < target; ++from) {
    const auto step = std::find_if(steps.begin(), steps.end(),
                                   [from](const Migration& known) { return known.from == from; });
    if (step == steps.end()) {
      throw RecordsRefused(file + " is of version " + std::to_string(version) +
                           " of the records, which this t1station cannot bring up to date");
    }
    way.push_back(&*step);
  }
  make_copy(database, file, version);
  Transaction transaction(database);
  for (const Migration* step : way) database.execute(step->sql);
  set_version(database, target);
  transaction.commit();
}

}  // namespace t1station
