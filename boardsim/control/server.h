// The control channel's end inside the program's process.
#pragma once

#include <string>

#include "boardsim/board.h"

namespace boardsim {

/// Serves the control channel of `board` at a Unix socket, on a thread that is none of the program's, for as
/// long as the process lives. Throws std::runtime_error when the socket cannot be made.
void serve_control(Board& board, const std::string& path);

/// The answer to one command line, without line end. client.h has the commands.
std::string answer_control(Board& board, const std::string& line);

}  // namespace boardsim
