// A program that is killed at a moment of its own: before or behind one of its calls, or so many instructions
// later.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// A call of the system that leaves something in the world, or takes something from it.
struct Call {
  std::string name;  ///< "pwrite64"
  std::string on;    ///< a file without its folder, "socket", "stdout", "stderr"
};

/// Where a program is killed with SIGKILL.
struct KillAt {
  std::size_t call = 0;          ///< from 0, of those in Traced::calls
  bool is_before = true;         ///< the call does not happen any more
  std::size_t instructions = 0;  ///< that it still gets behind the call
};

/// A program's life, as it was seen from outside.
struct Traced {
  std::vector<Call> calls;
  std::string out, err;
  int exit_status = -1;  ///< or 128 and the number of the signal that ended it
};

/// Runs command[0] with the rest as its arguments until it ends or is killed. It has no threads but its first
/// one. Throws std::system_error when it cannot be started, or the system lets no program be watched.
Traced run_traced(const std::vector<std::string>& command, const std::optional<KillAt>& kill = std::nullopt);
