// SQLite alone, with the settings of the station's records: what they are held against.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

/// Bytes that boards and the records' rows of an attempt have.
inline constexpr std::size_t kRequest = 70, kReply = 400, kAttemptStart = 150 + kRequest,
                             kAttemptEnd = 80 + kReply, kMeasurement = 40;

inline double seconds_of(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// SQLite's own connection, with the settings of the records.
class Bare {
 public:
  explicit Bare(const std::string& file) {
    if (sqlite3_open(file.c_str(), &handle_) != SQLITE_OK) throw std::runtime_error("cannot open " + file);
  }
  ~Bare() { sqlite3_close(handle_); }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;

  void run(const std::string& sql) {
    if (sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(handle_));
  }
  /// The settings of the records, and tables without triggers or further indices.
  void settle() {
    run("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA mmap_size = 0; PRAGMA foreign_keys = "
        "ON;"
        "CREATE TABLE row (id TEXT NOT NULL PRIMARY KEY, start BLOB, end BLOB) STRICT, WITHOUT ROWID;"
        "CREATE TABLE measurement (id TEXT NOT NULL PRIMARY KEY, bytes BLOB) STRICT, WITHOUT ROWID");
  }
  /// What `work` stores goes to the disk.
  void commit(const std::function<void()>& work) {
    run("BEGIN IMMEDIATE");
    work();
    run("COMMIT");
  }
  /// The first column of what is asked for.
  std::vector<std::string> column(const std::string& query) {
    std::vector<std::string> texts;
    const auto take = [](void* to, int, char** values, char**) {
      static_cast<std::vector<std::string>*>(to)->emplace_back(values[0]);
      return 0;
    };
    sqlite3_exec(handle_, query.c_str(), take, &texts, nullptr);
    return texts;
  }
  sqlite3* handle() const { return handle_; }

 private:
  sqlite3* handle_ = nullptr;
};

/// A statement that stores an id and a number of bytes.
class Store {
 public:
  Store(const Bare& bare, const char* sql) {
    if (sqlite3_prepare_v2(bare.handle(), sql, -1, &statement_, nullptr) != SQLITE_OK)
      throw std::runtime_error(sql);
  }
  ~Store() { sqlite3_finalize(statement_); }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  void run(const std::string& id, std::size_t size) {
    bytes_.assign(size, 'x');
    sqlite3_bind_text(statement_, 1, id.data(), static_cast<int>(id.size()), SQLITE_STATIC);
    sqlite3_bind_blob(statement_, 2, bytes_.data(), static_cast<int>(size), SQLITE_STATIC);
    if (sqlite3_step(statement_) != SQLITE_DONE) throw std::runtime_error("SQLite cannot store");
    sqlite3_reset(statement_);
  }

 private:
  sqlite3_stmt* statement_ = nullptr;
  std::string bytes_;
};
