// Many boards in one process, which pass every test: for stations that are measured.
#pragma once

#include <cstdint>

/// A socket that listens on a free port of loopback, with room for many boards' connections at once; the port
/// in `port`. Throws std::system_error.
int listen_as_boards(std::uint16_t& port);

/// Each connection to `listener` is a board: it greets, answers every request with "Pass" so many seconds
/// after it has come, and closes at the quit request. The description begins with the answer's time: seconds
/// of the PC's monotonic clock. Only throws, std::system_error.
[[noreturn]] void serve_as_boards(int listener, double seconds);
