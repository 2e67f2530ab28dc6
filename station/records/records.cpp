#include "station/records/records.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>
#include <type_traits>
#include <utility>

#include "station/records/chain.h"
#include "station/records/common_commit.h"
#include "station/records/database.h"
#include "station/records/identity.h"
#include "station/records/owner.h"
#include "station/records/place.h"
#include "station/records/schema.h"
#include "station/records/writing.h"
#include "station/text/json.h"
#include "station/text/sha256.h"

namespace t1station {
namespace {

// In the order of the enumerations.
constexpr std::array<std::string_view, 6> kOutcomeNames{"passed", "failed",  "timed_out",
                                                        "broken", "stopped", "interrupted"};
constexpr std::array<std::string_view, 5> kVerdictNames{"passed", "failed", "error", "stopped",
                                                        "interrupted"};

std::string detail_of(std::string_view serial, std::string_view reason) {
  return json_text({{"serial", serial}, {"reason", reason}});
}

// What could not be opened, in the words of what to do about it.
[[noreturn]] void refuse_to_open(const std::string& file, const SqlError& error) {
  if (error.kind() == SQLITE_NOTADB || error.kind() == SQLITE_CORRUPT) {
    throw RecordsRefused(file + " is damaged (" + error.what() + "): \"t1station records check\" says where");
  }
  if (error.kind() == SQLITE_BUSY) {
    throw RecordsRefused(file + " is being written by another program: " + error.what());
  }
  throw RecordsBroken(file + " cannot be written: " + error.what());
}

// What an earlier process wrote and could not sync may stand in the PC's memory only, and later syncs would
// not know: it is written once more, into the database itself, before anything is put behind it.
void settle(Database& database) {
  database.single("PRAGMA wal_checkpoint(TRUNCATE)");
}

}  // namespace

std::string_view attempt_outcome_name(AttemptOutcome outcome) {
  return kOutcomeNames.at(static_cast<std::size_t>(outcome));
}

std::string_view verdict_name(Verdict verdict) {
  return kVerdictNames.at(static_cast<std::size_t>(verdict));
}

std::optional<Verdict> verdict_named(std::string_view name) {
  const auto* found = std::find(kVerdictNames.begin(), kVerdictNames.end(), name);
  if (found == kVerdictNames.end()) return std::nullopt;
  return static_cast<Verdict>(found - kVerdictNames.begin());
}

std::span<const std::string_view> verdict_names() {
  return kVerdictNames;
}

struct Records::State {
  explicit State(const std::string& path) : file(path), owner(path) {}

  // Does something with the file unless it is broken, and remembers when that fails: what is not known to be
  // stored is never tried again.
  template <typename Doing>
  auto with_database(const Doing& doing) {
    const std::lock_guard lock(mutex);
    if (!database) throw RecordsBroken(trouble);
    if (held && !held->is_in_place()) {
      trouble = "cannot store in " + file + ": it, or its log, was taken away or replaced";
      database->abandon();
      database.reset();
      throw RecordsBroken(trouble);
    }
    try {
      return doing(*database);
    } catch (const SqlError& error) {
      trouble = "cannot store in " + file + ": " + error.what();
      database->abandon();
      database.reset();
      throw RecordsBroken(trouble);
    }
  }

  void store(const CommonCommit::Storing& storing) {
    with_database([&](Database& open) {
      Transaction transaction(open);
      storing(open);
      transaction.commit();
    });
  }

  // The same in a transaction, which several threads may share.
  template <typename Doing>
  auto in_transaction(const Doing& doing) {
    using Result = decltype(doing(*database));
    if constexpr (std::is_void_v<Result>) {
      commits.store([&](Database& open) { doing(open); });
    } else {
      std::optional<Result> result;
      commits.store([&](Database& open) { result = doing(open); });
      return *std::move(result);
    }
  }

  std::string file;
  Owner owner;
  std::optional<HeldFile> held;        // until the database is closed
  std::unique_ptr<Database> database;  // nothing once it is broken
  std::string trouble;
  std::mutex mutex;
  CommonCommit commits{[this](const CommonCommit::Storing& storing) { store(storing); }};
};

Records::Records(const std::string& file, const std::string& vfs) {
  const std::string real = file.empty() ? file : real_file(file);
  check_writable_records(real);
  state_ = std::make_unique<State>(real);
  std::unique_ptr<Database> database;
  try {
    database = std::make_unique<Database>(real, Database::Access::write, vfs);
    state_->held.emplace(real);
    if (database->is_read_only()) throw RecordsBroken(real + " is read-only");
    prepare_connection(*database, real, Database::Access::write);
    settle(*database);
    bring_up_to_date(*database, real, migrations());
    Transaction transaction(*database);
    const int interrupted = interrupt_open_runs(*database);
    insert_event(*database, "start", {}, {}, {},
                 json_text({{"process", getpid()}, {"host", host_name()}, {"interrupted", interrupted}}));
    transaction.commit();
    state_->database = std::move(database);
    look();  // from here on the log has its place, too
  } catch (const SqlError& error) {
    if (database) database->abandon();
    refuse_to_open(real, error);
  }
}

Records::~Records() {
  try {
    add_event("end", {}, {}, {}, json_text({{"process", getpid()}}));
  } catch (const std::exception&) {
    // It ends all the same; what was reported is stored.
  }
}

std::string Records::begin_run(const NewRun& run, const Plan& plan) {
  if (sha256_hex(plan.text) != plan.id) throw RecordsRefused("the plan's text is not that of its id");
  std::optional<std::string> reason;
  const std::string id = state_->in_transaction([&](Database& database) {
    reason = reason_against(database, run, plan);
    if (reason) {
      insert_event(database, "refused", run.slot, {}, run.operator_name, detail_of(run.serial, *reason));
      return std::string();
    }
    insert_plan(database, plan);
    return insert_run(database, run, plan);
  });
  if (reason) throw RecordsRefused(*reason);
  return id;
}

std::string Records::add_connection(std::string_view run, std::string_view board, std::string_view build) {
  return state_->in_transaction([&](Database& database) {
    std::string id = new_id();
    Statement(database, "INSERT INTO connection (id, run_id, at, board, build) VALUES (?, ?, ?, ?, ?)")
        .bind(id)
        .bind(run)
        .bind(record_time())
        .bind(board)
        .bind(build)
        .run();
    Statement(database, "UPDATE run SET board = ?, build = ? WHERE id = ? AND board IS NULL")
        .bind(board)
        .bind(build)
        .bind(run)
        .run();
    return id;
  });
}

std::string Records::begin_attempt(const NewAttempt& attempt) {
  return state_->in_transaction([&](Database& database) {
    std::string id = new_id();
    Statement(database,
              "INSERT INTO attempt (id, run_id, connection_id, step, step_index, number, code, parameter, "
              "started, request) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(id)
        .bind(attempt.run)
        .bind(text_or_null(attempt.connection))
        .bind(attempt.step)
        .bind(static_cast<std::int64_t>(attempt.step_index))
        .bind(std::int64_t{attempt.number})
        .bind(std::int64_t{attempt.code})
        .bind(attempt.parameter ? Value(std::int64_t{*attempt.parameter}) : Value())
        .bind(record_time())
        .bind(Value(Blob{attempt.request}))
        .run();
    return id;
  });
}

void Records::end_attempt(std::string_view attempt, const AttemptEnd& end) {
  state_->in_transaction([&](Database& database) { fill_attempt(database, attempt, end); });
}

EndedRun Records::end_run(std::string_view run, const RunEnd& end) {
  return state_->in_transaction([&](Database& database) {
    fill_open_attempts(database, run, AttemptOutcome::broken);
    return fill_run(database, run, find_verdict(database, run, end), end.seconds);
  });
}

void Records::add_event(std::string_view kind, std::string_view slot, std::string_view run,
                        std::string_view operator_name, std::string_view detail) {
  state_->in_transaction(
      [&](Database& database) { insert_event(database, kind, slot, run, operator_name, detail); });
}

void Records::release(std::string_view serial, std::string_view reason, std::string_view operator_name) {
  const bool is_known = state_->in_transaction([&](Database& database) {
    Statement runs(database, "SELECT 1 FROM run WHERE serial = ? LIMIT 1");
    if (!runs.bind(serial).step()) return false;
    insert_event(database, "release", {}, {}, operator_name, detail_of(serial, reason));
    return true;
  });
  if (!is_known) throw RecordsRefused("there is no run of " + std::string(serial) + " in these records");
}

void Records::look() {
  state_->with_database([](Database&) {});
}

void Records::mark_forwarded(const std::vector<std::string>& runs) {
  state_->in_transaction([&](Database& database) {
    for (const std::string& run : runs) {
      const Row values{run, record_time()};
      Statement(database,
                "INSERT INTO forwarded (run_id, at, hash) SELECT ?1, ?2, ?3 "
                "WHERE NOT EXISTS (SELECT 1 FROM forwarded WHERE run_id = ?1)")
          .bind(values[0])
          .bind(values[1])
          .bind(row_hash("forwarded", values))
          .run();
    }
  });
}

}  // namespace t1station
