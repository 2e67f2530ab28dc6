// One connection to a PostgreSQL database that never waits for longer than it may, nor beyond a stop.
#pragma once

#include <chrono>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "station/records/chain.h"

struct pg_conn;
struct pg_result;

namespace t1station {

/// The database cannot be reached, or refuses something; what() is one line for people.
class CentralTrouble : public std::runtime_error {
 public:
  /// `state` is the SQLSTATE of a refusal, empty when none came.
  explicit CentralTrouble(const std::string& text, std::string state = {})
      : std::runtime_error(text), state_(std::move(state)) {}
  const std::string& state() const { return state_; }
  /// Whether the database is there and refuses what it was given; else it is out of reach, starts or ends.
  bool is_refusal() const {
    return !state_.empty() && !state_.starts_with("08") && !state_.starts_with("57P");
  }

 private:
  std::string state_;
};

/// The wait was ended: its stop descriptor became readable.
class CentralStopped : public std::exception {
 public:
  const char* what() const noexcept override { return "stopped"; }
};

/// How long a database is waited for.
struct CentralPatience {
  std::chrono::milliseconds connect{10'000};  ///< until a connection stands
  std::chrono::milliseconds answer{30'000};   ///< for the next bytes, while an answer is due
};

/// Statements go out in transactions and whole batches: one way there and back each. Not for several threads
/// at once.
class Postgres {
 public:
  struct Command {
    std::string sql;  ///< one statement; $1, $2 ... are its values
    Row values{};
  };
  using Rows = std::vector<Row>;

  /// Connects. `stop` is a descriptor that ends every wait once it is readable; -1: none. Throws
  /// CentralTrouble, CentralStopped. Only the look-up of the host's name cannot be stopped.
  Postgres(const std::string& url, const CentralPatience& patience, int stop);
  ~Postgres();
  Postgres(const Postgres&) = delete;
  Postgres& operator=(const Postgres&) = delete;

  /// Runs statements in one transaction, all or nothing, unless they begin one of their own. Returns the rows
  /// of each. Throws CentralTrouble, after which nothing but a refused statement leaves it usable.
  std::vector<Rows> run(const std::vector<Command>& commands);
  /// The rows of one statement.
  Rows ask(const std::string& sql, const Row& values = {});

  /// Waits while nothing is asked for until `wake` is readable. Throws CentralTrouble when the connection
  /// ends meanwhile, CentralStopped.
  void rest(int wake);

 private:
  struct Answers;

  void connect(std::chrono::milliseconds patience);
  void send(const Command& command);
  void wait(short events, std::chrono::milliseconds patience);
  void exchange_bytes();
  bool take(pg_result* result, Answers& answers) const;
  [[noreturn]] void fail() const;

  std::unique_ptr<pg_conn, void (*)(pg_conn*)> connection_;
  CentralPatience patience_;
  int stop_;
};

/// A name as it stands in SQL.
std::string quoted_identifier(std::string_view name);

}  // namespace t1station
