#include "station/records/database.h"

#include <cmath>
#include <cstring>

namespace t1station {
namespace {

// How long a writer waits for a foreign one, a person's shell for example; in milliseconds.
constexpr int kBusyTimeout = 5000;

std::string explanation(sqlite3* handle, int code) {
  std::string text = sqlite3_errstr(code & 0xFF);
  const std::string more = handle ? sqlite3_errmsg(handle) : "";
  if (!more.empty() && more != text) text += ": " + more;
  const int system = handle ? sqlite3_system_errno(handle) : 0;
  const bool is_system = (code & 0xFF) == SQLITE_IOERR || (code & 0xFF) == SQLITE_CANTOPEN;
  if (is_system && system != 0) text += std::string(": ") + std::strerror(system);
  return code > 0xFF ? text + " (SQLite's code " + std::to_string(code) + ")" : text;
}

// As a URI, so that "immutable" can be said; what means something in a URI is written as its number.
std::string uri_of(const std::string& file) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string uri = "file:";
  for (const char letter : file) {
    const auto byte = static_cast<unsigned char>(letter);
    if (std::strchr("%?#", letter) == nullptr && byte > 0x20 && byte < 0x7F) {
      uri += letter;
    } else {
      uri += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
    }
  }
  return uri;
}

// A function of one text, as SQLite calls it.
void call_function(sqlite3_context* context, int /*count*/, sqlite3_value** values) {
  using Function = std::string (*)(std::string_view);
  if (sqlite3_value_type(values[0]) != SQLITE_TEXT) return;
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(values[0]));
  const auto size = static_cast<std::size_t>(sqlite3_value_bytes(values[0]));
  const auto function = reinterpret_cast<Function>(sqlite3_user_data(context));
  try {
    const std::string result = function({text, size});
    sqlite3_result_text64(context, result.data(), result.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  }
}

}  // namespace

Statement::Statement(Database& database, std::string_view sql) : database_(database), sql_(sql) {
  const auto known = database_.idle_.find(sql);
  if (known != database_.idle_.end()) {
    statement_ = known->second;
    database_.idle_.erase(known);
    return;
  }
  const int code = sqlite3_prepare_v3(database_.handle_, sql_.data(), static_cast<int>(sql_.size()),
                                      SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
  if (code != SQLITE_OK) database_.fail(code, sql_);
}

Statement::~Statement() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
  try {
    database_.idle_.emplace(std::move(sql_), statement_);
  } catch (const std::bad_alloc&) {
    sqlite3_finalize(statement_);
  }
}

Statement& Statement::bind(const Value& value) {
  const int place = ++bound_;
  int code = SQLITE_OK;
  if (const auto* integer = std::get_if<std::int64_t>(&value)) {
    code = sqlite3_bind_int64(statement_, place, *integer);
  } else if (const auto* real = std::get_if<double>(&value)) {
    code = sqlite3_bind_double(statement_, place, *real);
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    code = sqlite3_bind_text64(statement_, place, text->data(), text->size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  } else if (const auto* blob = std::get_if<Blob>(&value)) {
    // A null pointer would be bound as NULL.
    const char* bytes = blob->bytes.empty() ? "" : blob->bytes.data();
    code = sqlite3_bind_blob64(statement_, place, bytes, blob->bytes.size(), SQLITE_TRANSIENT);
  } else {
    code = sqlite3_bind_null(statement_, place);
  }
  if (code != SQLITE_OK) database_.fail(code, sql_);
  return *this;
}

bool Statement::step() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) database_.fail(code, {});
  return false;
}

Value Statement::value(int column) const {
  switch (sqlite3_column_type(statement_, column)) {
    case SQLITE_INTEGER:
      return integer(column);
    case SQLITE_FLOAT:
      return real(column);
    case SQLITE_TEXT:
      return text(column);
    case SQLITE_BLOB:
      return Blob{text(column)};
    default:
      return {};
  }
}

bool Statement::is_null(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

double Statement::real(int column) const {
  return sqlite3_column_double(statement_, column);
}

std::string Statement::text(int column) const {
  return std::string(text_view(column));
}

std::string_view Statement::text_view(int column) const {
  const void* bytes = sqlite3_column_blob(statement_, column);  // before the size, which follows its form
  const int size = sqlite3_column_bytes(statement_, column);
  return bytes ? std::string_view(static_cast<const char*>(bytes), static_cast<std::size_t>(size))
               : std::string_view();
}

std::optional<std::string> Statement::optional_text(int column) const {
  return is_null(column) ? std::nullopt : std::optional(text(column));
}

std::optional<std::int64_t> Statement::optional_integer(int column) const {
  return is_null(column) ? std::nullopt : std::optional(integer(column));
}

std::optional<double> Statement::optional_real(int column) const {
  return is_null(column) ? std::nullopt : std::optional(real(column));
}

int Statement::columns() const {
  return sqlite3_column_count(statement_);
}

Database::Database(const std::string& file, Access access, const std::string& vfs) {
  int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_URI;
  flags |= access == Access::write ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
  const std::string uri = uri_of(file) + (access == Access::immutable ? "?immutable=1" : "");
  const int code = sqlite3_open_v2(uri.c_str(), &handle_, flags, vfs.empty() ? nullptr : vfs.c_str());
  if (code != SQLITE_OK) {
    const std::string text = explanation(handle_, code);
    sqlite3_close(handle_);
    throw SqlError(code, text);
  }
  sqlite3_busy_timeout(handle_, kBusyTimeout);
}

Database::~Database() {
  for (const auto& [sql, statement] : idle_) sqlite3_finalize(statement);
  sqlite3_close(handle_);
}

void Database::execute(const std::string& sql) {
  const int code = sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) fail(code, {});
}

Value Database::single(std::string_view sql) {
  Statement statement(*this, sql);
  if (!statement.step()) return {};
  Value value = statement.value(0);
  statement.run();  // some fail only behind their row
  return value;
}

void Database::add_function(const char* name, std::string (*function)(std::string_view text)) {
  const int code =
      sqlite3_create_function_v2(handle_, name, 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                                 reinterpret_cast<void*>(function), call_function, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) fail(code, name);
}

void Database::stop_when(const std::atomic<bool>& is_stopped) {
  constexpr int kSteps = 10000;  // of SQLite's machine between questions: less than a millisecond
  // SQLite hands a pointer through that it does not write to.
  auto* flag = const_cast<std::atomic<bool>*>(&is_stopped);
  sqlite3_progress_handler(
      handle_, kSteps, [](void* stop) { return static_cast<std::atomic<bool>*>(stop)->load() ? 1 : 0; },
      flag);
}

std::int64_t Database::changes() const {
  return sqlite3_changes64(handle_);
}

bool Database::is_read_only() const {
  return sqlite3_db_readonly(handle_, "main") != 0;
}

void Database::abandon() {
  sqlite3_db_config(handle_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

void Database::fail(int code, std::string_view what) const {
  const std::string text = explanation(handle_, code);
  throw SqlError(code, what.empty() ? text : text + " in \"" + std::string(what) + "\"");
}

Transaction::Transaction(Database& database) : database_(database) {
  Statement(database_, "BEGIN IMMEDIATE").run();
}

Transaction::~Transaction() {
  if (!is_open_) return;
  try {
    Statement(database_, "ROLLBACK").run();
  } catch (const SqlError&) {
    // SQLite has undone it already, as it does after most errors.
  }
}

void Transaction::commit() {
  Statement(database_, "COMMIT").run();
  is_open_ = false;
}

}  // namespace t1station
