// Virtual time.
#pragma once

#include <chrono>

namespace boardsim {

/// Virtual time since the board was switched on.
using Time = std::chrono::microseconds;

/// How time passes for the program.
enum class Pace {
  virtual_time,  ///< a wait that nothing else can end is over at once; time jumps to its end
  stepped,       ///< time stands still until advance() moves it
  scaled,        ///< time runs `speed` times as fast as the PC's clock
};

}  // namespace boardsim
