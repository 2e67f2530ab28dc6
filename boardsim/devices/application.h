// The camera's main application, as programs of the board meet it on 127.0.0.1 port 7001.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardsim/kernel/fault_forms.h"
#include "boardsim/kernel/time.h"

namespace boardsim {

/// One end of each connection is the program's socket, the other is served here: a command of three
/// big-endian words {length, code, value} is read when its twelfth byte has been sent, and answered at
/// virtual times. A command that it does not know is a violation and closes the connection. Nothing listens
/// on a port of the PC. Guarded by the board's lock.
class Application {
 public:
  /// One thing that the application sends back, `after` the one before it (or after the command).
  struct Reply {
    Time after{};
    std::string bytes{};
  };
  /// One command that the application was sent, as it read it.
  struct Command {
    std::uint32_t length = 0, code = 0, value = 0;
    bool operator==(const Command&) const = default;  ///< field by field
  };

  static constexpr std::string_view kSocketName = "application";  ///< of its connections, in the trace
  static constexpr std::uint16_t kPort = 7001;

  /// Runs an event, with the board's lock held, when this much virtual time has passed.
  using After = std::function<void(Time span, std::function<void()> event)>;

  /// Reports what no program may do, with the board's lock held.
  using Violation = std::function<void(const std::string& text)>;

  Application(After after, Violation violation)
      : after_(std::move(after)), violation_(std::move(violation)) {}
  ~Application();
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  /// Connects the program's TCP socket; its flags and time-outs stay. 0, or the errno of connect(2).
  int connect(int fd);
  /// Looks what the program has sent and closed. Called after each call on a connection.
  void serve();

  /// Scripts the answer to a command: the replies, then the connection is closed; with `closes` false it
  /// stays open for ever. Without a script it answers as a healthy one, and a command that it does not know
  /// is a violation.
  void set_answer(std::uint32_t command, std::vector<Reply> replies, bool closes = true);
  /// The same for a command with this value only. It goes before the one for any value.
  void set_answer_to(std::uint32_t command, std::uint32_t value, std::vector<Reply> replies, bool closes);
  const std::vector<Command>& commands() const { return commands_; }

  FaultForms fault_forms();
  void clear_faults() { faults_ = {}; }

 private:
  struct Answer {
    std::vector<Reply> replies;
    bool closes;
  };
  struct Faults {
    bool refused = false, silent = false, cut = false, closes = false;
    Time later{};  ///< added to each reply's time
  };
  class Connection;

  void run(const std::shared_ptr<Connection>& connection, const Command& command);
  const Answer* script_for(const Command& command) const;
  Answer answer_to(const Command& command) const;

  After after_;
  Violation violation_;
  std::map<std::pair<std::uint32_t, std::optional<std::uint32_t>>, Answer> scripts_{};  ///< by code, value
  std::vector<Command> commands_{};
  std::vector<std::shared_ptr<Connection>> connections_{};
  Faults faults_{};
};

}  // namespace boardsim
