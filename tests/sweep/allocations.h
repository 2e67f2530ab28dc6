// Memory that the program asks the C library for, and that it is refused.
//
// malloc and calloc of the program are wrapped at link time; `new` is not.
#pragma once

#include <string>
#include <vector>

#include "boardsim/board.h"

/// Counts the blocks from now on, and refuses some: `fault` is "malloc #2 ENOMEM", "calloc #1+ ENOMEM", empty
/// for none.
void begin_allocations(const std::string& fault);

/// Whether a fault is one of allocations; the board knows all others.
bool is_of_allocations(const std::string& fault);

/// The allocations since the beginning, as calls; counting and refusing end.
std::vector<boardsim::Call> end_allocations();
