// Calls of the program that fail behind the simulated board's back: memory that the C library refuses, and
// what the board itself cannot be told to fail.
//
// malloc, calloc, reboot, tcflush and select of the program are wrapped at link time; `new` is not.
#pragma once

#include <string>
#include <vector>

#include "boardsim/board.h"

/// Counts these calls from now on, and spoils some: `fault` is "malloc #2 ENOMEM", "reboot #1 EPERM",
/// "select #3+ time-out" ..., empty for none.
void begin_wrapped(const std::string& fault);

/// Whether a fault is one of these; the board knows all others.
bool is_of_wrapped(const std::string& fault);

/// What the board's trace has not: all allocations since the beginning, and the spoilt calls. Counting ends.
std::vector<boardsim::Call> end_wrapped();
