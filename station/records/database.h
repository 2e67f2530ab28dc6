// SQLite, held by objects: a connection, a statement, a transaction, and every error code in our hands.
#pragma once

#include <sqlite3.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

namespace t1station {

/// What SQLite refused or could not do.
class SqlError : public std::runtime_error {
 public:
  SqlError(int code, const std::string& text) : std::runtime_error(text), code_(code) {}
  /// SQLite's extended result code.
  int code() const { return code_; }
  /// Its first byte: SQLITE_FULL, SQLITE_IOERR, SQLITE_CORRUPT ...
  int kind() const { return code_ & 0xFF; }

 private:
  int code_;
};

/// Bytes, as opposed to text.
struct Blob {
  std::string bytes;
  bool operator==(const Blob&) const = default;
};

/// What stands in one column of one row.
using Value = std::variant<std::monostate, std::int64_t, double, std::string, Blob>;

/// NULL for nothing, else the thing itself.
template <typename T>
Value value_or_null(const std::optional<T>& thing) {
  return thing ? Value(*thing) : Value();
}
/// NULL for an empty text.
inline Value text_or_null(std::string_view text) {
  return text.empty() ? Value() : Value(std::string(text));
}
/// NULL for no bytes.
inline Value blob_or_null(std::string_view bytes) {
  return bytes.empty() ? Value() : Value(Blob{std::string(bytes)});
}

class Database;

/// One statement, compiled. What was compiled once is kept by its connection. Must not outlive it.
class Statement {
 public:
  Statement(Database& database, std::string_view sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  /// Binds the next parameter, from the first on.
  Statement& bind(const Value& value);
  Statement& bind(std::string_view text) { return bind(Value(std::string(text))); }
  Statement& bind(const std::string& text) { return bind(Value(text)); }
  Statement& bind(const char* text) { return bind(Value(std::string(text))); }
  Statement& bind(std::int64_t number) { return bind(Value(number)); }

  /// Goes to the next row; false behind the last one. Throws SqlError.
  bool step();
  /// Runs a statement that returns no rows. Throws SqlError.
  void run() {
    while (step()) continue;
  }

  /// Columns of the row that step() found, from 0.
  Value value(int column) const;
  bool is_null(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;
  std::string text(int column) const;  ///< or a blob's bytes; empty for NULL
  /// The same without a copy; stands until the next row, or until the statement is gone.
  std::string_view text_view(int column) const;
  std::optional<std::string> optional_text(int column) const;
  std::optional<std::int64_t> optional_integer(int column) const;
  std::optional<double> optional_real(int column) const;
  int columns() const;

 private:
  Database& database_;
  std::string sql_;
  sqlite3_stmt* statement_ = nullptr;
  int bound_ = 0;
};

/// One connection to one file. Not for several threads at once.
class Database {
 public:
  enum class Access {
    write,      ///< the one writer; makes the file when it is not there
    read,       ///< reads beside a writer, and never writes or checkpoints
    immutable,  ///< reads a file that nobody can change, without files beside it
  };

  /// `vfs` names the part of SQLite that speaks with the system; empty: the usual one. Throws SqlError.
  Database(const std::string& file, Access access, const std::string& vfs = {});
  /// A writer that is the last connection checkpoints here, unless it was abandoned.
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// Runs statements, one or several. Throws SqlError.
  void execute(const std::string& sql);
  /// The first column of the first row, NULL without rows. Throws SqlError.
  Value single(std::string_view sql);
  /// Statements may call a function of one text by this name from now on; of anything else it is NULL. Throws
  /// SqlError.
  void add_function(const char* name, std::string (*function)(std::string_view text));
  /// From now on statements fail, those that run too, once this is true; it must stand as long as this does.
  void stop_when(const std::atomic<bool>& is_stopped);
  /// Rows that the last statement changed.
  std::int64_t changes() const;
  /// Whether the file can only be read, whatever was asked for.
  bool is_read_only() const;
  /// From now on closing writes nothing: what is not known to be stored is not touched again.
  void abandon();

 private:
  friend class Statement;
  [[noreturn]] void fail(int code, std::string_view what) const;

  sqlite3* handle_ = nullptr;
  std::multimap<std::string, sqlite3_stmt*, std::less<>> idle_;
};

/// A transaction that has the right to write from the start, and is undone unless it was committed.
class Transaction {
 public:
  /// Throws SqlError, also where another connection writes.
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// When it returns, all is on the disk. Throws SqlError.
  void commit();

 private:
  Database& database_;
  bool is_open_ = true;
};

}  // namespace t1station
