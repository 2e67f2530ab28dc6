// /dev/uart1 of the board as a serial device of the PC, for a person or a station at the other end.
#pragma once

#include <string>

#include "boardsim/board.h"

namespace boardsim {

/// Plugs in the RS485 fixture "terminal" and wires it, for as long as the process lives, to a device at
/// `path`, made in the way and with the exceptions of offer_device(). The line has no speed of its own.
void offer_uart1(Board& board, const std::string& path);

}  // namespace boardsim
