#include "station/central/postgres.h"

#include <libpq-fe.h>
#include <poll.h>

#include <array>
#include <cerrno>
#include <optional>

#include "station/central/values.h"
#include "station/text/text.h"

namespace t1station {
namespace {

using std::chrono::milliseconds;

// Text of several lines as one.
std::string as_one_line(std::string_view text) {
  std::string line;
  for (const std::string& part : lines_of(clean_text(text))) {
    const std::size_t start = part.find_first_not_of(" \t");
    if (start != std::string::npos) line += (line.empty() ? "" : "; ") + part.substr(start);
  }
  return line;
}

std::string error_field(const PGresult* result, int code) {
  const char* text = PQresultErrorField(result, code);
  return text ? text : "";
}

CentralTrouble refusal_of(const PGresult* result) {
  std::string text = error_field(result, PG_DIAG_MESSAGE_PRIMARY);
  const std::string detail = error_field(result, PG_DIAG_MESSAGE_DETAIL),
                    state = error_field(result, PG_DIAG_SQLSTATE);
  if (text.empty()) text = PQresultErrorMessage(result);
  if (!detail.empty()) text += ": " + detail;
  return CentralTrouble(as_one_line(text), state);
}

Postgres::Rows rows_in(const PGresult* result) {
  Postgres::Rows rows(static_cast<std::size_t>(PQntuples(result)));
  for (int row = 0; row < PQntuples(result); ++row) {
    Row& values = rows[static_cast<std::size_t>(row)];
    for (int column = 0; column < PQnfields(result); ++column) {
      const std::string_view bytes(PQgetvalue(result, row, column),
                                   static_cast<std::size_t>(PQgetlength(result, row, column)));
      const bool is_null = PQgetisnull(result, row, column) != 0;
      values.push_back(is_null ? Value() : from_wire(PQftype(result, column), bytes));
    }
  }
  return rows;
}

}  // namespace

/// What came of a batch as yet.
struct Postgres::Answers {
  std::vector<Rows> rows;
  std::optional<CentralTrouble> refusal;  // the first
};

Postgres::Postgres(const std::string& url, const CentralPatience& patience, int stop)
    : connection_(nullptr, PQfinish), patience_(patience), stop_(stop) {
  // What stands behind the URL counts in any case. A peer that is gone is noticed within a minute.
  constexpr std::array kWords{"fallback_application_name",
                              "keepalives_idle",
                              "keepalives_interval",
                              "keepalives_count",
                              "dbname",
                              "client_encoding",
                              static_cast<const char*>(nullptr)};
  const std::array values{
      "t1station", "30", "10", "3", url.c_str(), "UTF8", static_cast<const char*>(nullptr)};
  connection_.reset(PQconnectStartParams(kWords.data(), values.data(), 1));
  if (!connection_) throw std::bad_alloc();
  PQsetNoticeProcessor(
      connection_.get(), [](void*, const char*) {}, nullptr);
  connect(patience.connect);
  if (PQsetnonblocking(connection_.get(), 1) != 0 || PQenterPipelineMode(connection_.get()) != 1) fail();
}

Postgres::~Postgres() = default;

void Postgres::connect(milliseconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  if (PQstatus(connection_.get()) == CONNECTION_BAD) fail();
  for (auto next = PGRES_POLLING_WRITING; next != PGRES_POLLING_OK; next = PQconnectPoll(connection_.get())) {
    if (next == PGRES_POLLING_FAILED) fail();
    const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now());
    wait(next == PGRES_POLLING_READING ? POLLIN : POLLOUT, left);
  }
}

void Postgres::fail() const {
  const std::string text = as_one_line(PQerrorMessage(connection_.get()));
  throw CentralTrouble(text.empty() ? "the connection has ended" : text);
}

void Postgres::wait(short events, milliseconds patience) {
  std::array<pollfd, 2> items{{{PQsocket(connection_.get()), events, 0}, {stop_, POLLIN, 0}}};
  const int ready =
      poll(items.data(), items.size(), static_cast<int>(std::max<milliseconds::rep>(patience.count(), 0)));
  if (items[1].revents != 0) throw CentralStopped();
  if (ready == 0) throw CentralTrouble("there was no answer in time");
}

void Postgres::send(const Command& command) {
  std::vector<WireValue> values;
  for (const Value& value : command.values) values.push_back(to_wire(value));
  std::vector<const char*> bytes;
  std::vector<int> sizes, formats;
  for (const WireValue& value : values) {
    bytes.push_back(value.bytes ? value.bytes->data() : nullptr);
    sizes.push_back(value.bytes ? static_cast<int>(value.bytes->size()) : 0);
    formats.push_back(value.is_binary ? 1 : 0);
  }
  if (PQsendQueryParams(connection_.get(), command.sql.c_str(), static_cast<int>(values.size()), nullptr,
                        bytes.data(), sizes.data(), formats.data(), 1) != 1) {
    fail();
  }
}

void Postgres::exchange_bytes() {
  const int left = PQflush(connection_.get());
  if (left < 0) fail();
  wait(left > 0 ? POLLIN | POLLOUT : POLLIN, patience_.answer);
  if (PQconsumeInput(connection_.get()) != 1) fail();
}

// Returns whether the batch has ended.
bool Postgres::take(PGresult* result, Answers& answers) const {
  const std::unique_ptr<PGresult, void (*)(PGresult*)> held(result, PQclear);
  switch (PQresultStatus(result)) {
    case PGRES_PIPELINE_SYNC:
      return true;
    case PGRES_TUPLES_OK:
      answers.rows.push_back(rows_in(result));
      break;
    case PGRES_COMMAND_OK:
      answers.rows.emplace_back();
      break;
    case PGRES_PIPELINE_ABORTED:
      break;
    default:
      if (result && !answers.refusal) answers.refusal = refusal_of(result);
  }
  if (PQstatus(connection_.get()) != CONNECTION_BAD) return false;
  if (answers.refusal) throw *answers.refusal;
  fail();
}

std::vector<Postgres::Rows> Postgres::run(const std::vector<Command>& commands) {
  for (const Command& command : commands) send(command);
  if (PQpipelineSync(connection_.get()) != 1) fail();
  Answers answers;
  for (bool has_ended = false; !has_ended;) {
    if (PQisBusy(connection_.get()) != 0) {
      exchange_bytes();
    } else {
      has_ended = take(PQgetResult(connection_.get()), answers);
    }
  }
  if (answers.refusal) throw *answers.refusal;
  return std::move(answers.rows);
}

Postgres::Rows Postgres::ask(const std::string& sql, const Row& values) {
  return run({{sql, values}}).front();
}

void Postgres::rest(int wake) {
  for (;;) {
    std::array<pollfd, 3> items{
        {{PQsocket(connection_.get()), POLLIN, 0}, {stop_, POLLIN, 0}, {wake, POLLIN, 0}}};
    poll(items.data(), items.size(), -1);
    if (items[1].revents != 0) throw CentralStopped();
    if (items[0].revents != 0 && PQconsumeInput(connection_.get()) != 1) fail();
    if (items[2].revents != 0) return;
  }
}

std::string quoted_identifier(std::string_view name) {
  std::string quoted = "\"";
  for (const char letter : name) quoted += letter == '"' ? "\"\"" : std::string(1, letter);
  return quoted + '"';
}

}  // namespace t1station
