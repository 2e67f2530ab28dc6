// The program `t1station` without its main().
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "station/link/clock.h"
#include "station/link/interrupt.h"

namespace t1station {

/// What surrounds the program. Everything must outlive the call.
struct Environment {
  std::ostream& out;     ///< results
  std::ostream& err;     ///< progress and complaints
  const Clock& clock;    ///< elapsed time
  Interrupt& interrupt;  ///< the operator's Ctrl-C
  std::string started;   ///< the time of day, as RunReport::started
  bool out_is_terminal = false;
  bool err_is_terminal = false;
  bool no_color = false;     ///< the environment variable NO_COLOR is set and not empty
  std::size_t columns = 80;  ///< width of the terminal behind `err`
  bool in_is_terminal = false;
  std::string host{};  ///< this PC's name, the station's where nothing else is said
};

/// Does what the arguments (without the program's name) say and returns the exit code.
int run_app(const std::vector<std::string>& arguments, const Environment& around);

}  // namespace t1station
