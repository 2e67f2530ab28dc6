#include "station/figures/kept_days.h"

#include <filesystem>

namespace t1station {
namespace {

/// Of the tables and of what bytes_of() gives.
constexpr std::int64_t kFormat = 1;

constexpr const char* kTables =
    "DROP TABLE IF EXISTS reach; DROP TABLE IF EXISTS day; "
    "CREATE TABLE reach (sequence INTEGER NOT NULL, id TEXT NOT NULL, hash TEXT NOT NULL) STRICT; "
    "CREATE TABLE day (day TEXT NOT NULL PRIMARY KEY, digest BLOB NOT NULL) STRICT;";

}  // namespace

KeptDays::KeptDays(const std::string& file) : file_(file) {
  if (attempt([this] { open(); })) return;
  // Damage costs the time to find all of it again.
  std::error_code ignored;
  for (const char* end : {"", "-wal", "-shm"}) std::filesystem::remove(file_ + end, ignored);
  attempt([this] { open(); });
}

void KeptDays::open() {
  auto database = std::make_unique<Database>(file_, Database::Access::write);
  const bool is_ours = database->single("PRAGMA user_version") == Value(kFormat);
  database->execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
  if (!is_ours) {
    Transaction transaction(*database);
    database->execute(kTables);
    database->execute("PRAGMA user_version = " + std::to_string(kFormat));
    transaction.commit();
  }
  database->execute("BEGIN");
  database_ = std::move(database);
}

template <typename Doing>
bool KeptDays::attempt(const Doing& doing) {
  try {
    doing();
    return true;
  } catch (const SqlError&) {
    database_.reset();
    return false;
  }
}

std::optional<EndedSoFar> KeptDays::reach() {
  std::optional<EndedSoFar> reach;
  if (!database_) return reach;
  attempt([&] {
    Statement row(*database_, "SELECT sequence, id, hash FROM reach");
    if (row.step()) reach = EndedSoFar{row.integer(0), row.text(1), row.text(2)};
  });
  return reach;
}

bool KeptDays::load(const std::string& day, Digest& digest) {
  bool is_read = false;
  if (!database_) return is_read;
  attempt([&] {
    Statement row(*database_, "SELECT digest FROM day WHERE day = ?");
    is_read = row.bind(day).step() && read_bytes(row.text_view(0), digest);
  });
  return is_read;
}

void KeptDays::set_reach(const EndedSoFar& reach, const std::set<std::string>& forgotten, bool forget_all) {
  if (!database_) return;
  attempt([&] {
    if (forget_all) database_->execute("DELETE FROM day");
    for (const std::string& day : forgotten) {
      Statement(*database_, "DELETE FROM day WHERE day = ?").bind(day).run();
    }
    database_->execute("DELETE FROM reach");
    Statement(*database_, "INSERT INTO reach (sequence, id, hash) VALUES (?, ?, ?)")
        .bind(reach.sequence)
        .bind(reach.id)
        .bind(reach.hash)
        .run();
  });
}

void KeptDays::keep(const std::string& day, const Digest& digest) {
  if (!database_) return;
  attempt([&] {
    Statement(*database_, "INSERT OR REPLACE INTO day (day, digest) VALUES (?, ?)")
        .bind(day)
        .bind(Value(Blob{bytes_of(digest)}))
        .run();
  });
}

void KeptDays::finish() {
  if (!database_) return;
  attempt([this] { database_->execute("COMMIT"); });
}

}  // namespace t1station
