// What stands beside a board while it is tested: its console, the partner on its RS485 line, a person.
#pragma once

#include <optional>
#include <string>

#include "station/plan/plan.h"

namespace t1station {

/// The board's console, read while an attempt lasts.
class BoardConsole {
 public:
  BoardConsole() = default;
  BoardConsole(const BoardConsole&) = delete;
  BoardConsole& operator=(const BoardConsole&) = delete;
  virtual ~BoardConsole() = default;

  /// Takes what has arrived; does not wait. Throws LinkError when the device is gone.
  virtual std::string take() = 0;
};

/// The other end of the board's RS485 line in the echo test.
class EchoPartner {
 public:
  EchoPartner() = default;
  EchoPartner(const EchoPartner&) = delete;
  EchoPartner& operator=(const EchoPartner&) = delete;
  virtual ~EchoPartner() = default;

  /// A request for the echo test has gone out.
  virtual void begin() = 0;
  /// So many seconds have passed since; called several times a second. Throws LinkError when the device is
  /// gone.
  virtual void tick(double elapsed) = 0;
  /// Whether what came back was what was sent.
  virtual bool is_right() const = 0;
  /// What went out and came in, for people, one line each.
  virtual std::string words() const = 0;
};

/// Who answers questions.
class Person {
 public:
  Person() = default;
  Person(const Person&) = delete;
  Person& operator=(const Person&) = delete;
  virtual ~Person() = default;

  /// The question is shown from now on.
  virtual void ask(const Question& question) = 0;
  /// Yes or no, once it was said; does not wait.
  virtual std::optional<bool> answer() = 0;
  /// The question is gone.
  virtual void end_question() = 0;
};

/// What a slot has; null for what it lacks. All of it must outlive the run.
struct Slot {
  BoardConsole* console = nullptr;
  EchoPartner* rs485 = nullptr;
  Person* person = nullptr;
};

/// The end of a board's console that is kept with an attempt, in bytes.
inline constexpr std::size_t kMostConsole = 1024 * 1024;
/// Seconds that a person has for an answer once the reply is there.
inline constexpr double kAnswerTime = 60;
/// Seconds of silence after a reply until the console is taken for quiet, and how long that is waited for.
inline constexpr double kConsoleQuiet = 0.05, kConsoleWait = 0.5;

}  // namespace t1station
