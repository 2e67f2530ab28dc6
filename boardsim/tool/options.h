// The launcher's command line.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "boardsim/tool/config.h"

namespace boardsim {

/// Exit status for a command line that makes no sense.
inline constexpr int kExitUsage = 64;

/// What the command line asks for.
struct Options {
  Config config{};
  std::string address{};  ///< of the simulated eth0; empty for one that is free
  bool utf8_console = true;
  std::string record{};       ///< file that gets a recording of the program, empty for none
  std::string console_tty{};  ///< where the console appears as a serial device of the PC, empty for nowhere
  std::string replay{};       ///< the recording that answers the program instead of a board, empty for none
  std::string learn{};        ///< folder that gets what the compared recording tells, empty for none
  std::string compare{};      ///< the recording that the simulated board is held against, empty for none
  double tolerance = 5;       ///< milliseconds by which durations may differ in a comparison
  bool json = false;          ///< a comparison is printed as JSON
  std::vector<std::string> program{};  ///< with its arguments
};

/// Reads the command line. Without options there is nothing to run: `exit_code` tells how to end then, the
/// help, the list of boards or a message has been printed.
std::optional<Options> read_options(int argc, char** argv, int& exit_code);

}  // namespace boardsim
