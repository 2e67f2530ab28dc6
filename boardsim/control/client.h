// The control channel of a board under the launcher, as a test in another process uses it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "boardsim/kernel/time.h"

namespace boardsim {

/// One connection to `boardsim --control PATH`. Every member sends one command line and reads one answer
/// line; each throws std::runtime_error with the board's text when it is refused, or when the board is gone.
/// Lines: "advance MICROSECONDS" -> "ok NOW" or "error busy", "settle" -> "ok NOW", "now" -> "ok NOW",
/// "fault TEXT" -> "ok", "clear-faults" -> "ok", "threads" -> "ok N", "open-nodes" -> "ok NODE ...",
/// "reboots" -> "ok N". Times are microseconds.
class ControlClient {
 public:
  /// Connects; waits up to 10 s for a board that is being launched.
  explicit ControlClient(const std::string& path);
  ~ControlClient();
  ControlClient(const ControlClient&) = delete;
  ControlClient& operator=(const ControlClient&) = delete;

  /// Lets virtual time pass on a board with --pace stepped; returns the time then.
  Time advance(Time span);
  /// Waits until every thread of the program waits; returns the time.
  Time settle();
  Time now();
  void fault(std::string_view text);
  void clear_faults();
  /// Number of live threads of the program besides its main thread.
  int threads();
  std::vector<std::string> open_nodes();
  /// Number of restarts asked for.
  int reboots();

 private:
  std::string ask(std::string line);
  Time ask_time(std::string line);

  int socket_ = -1;
  std::string received_;
};

}  // namespace boardsim
