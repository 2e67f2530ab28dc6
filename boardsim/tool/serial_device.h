// /dev/uart1 of the board as a serial device of the PC, for a person or a station at the other end.
#pragma once

#include <string>

#include "boardsim/board.h"

namespace boardsim {

/// Plugs in the RS485 fixture "terminal" and wires it, for as long as the process lives, to a new
/// pseudo-terminal, set raw, whose name is left at `path` as a symbolic link; one that leads nowhere any more
/// is replaced. The line has no speed of its own. Throws std::runtime_error when something stands at `path`
/// already, or nothing can be made there.
void offer_uart1(Board& board, const std::string& path);

}  // namespace boardsim
