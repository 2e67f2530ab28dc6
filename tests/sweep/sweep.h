// Tries the faults of one code on one board after another, each board and code in a process of its own: a
// crash, an exit or a hang is a finding, too.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/sweep/run.h"

/// What is tried, and what came of it.
struct Sweep {
  unsigned long stride = 1;       ///< of the faults of one call on one node: one, and every N-th after it
  bool short_form = false;        ///< less on boards that go through the same calls as one before
  std::string only{};             ///< this fault only, "none" for none; empty: all of them
  bool list = false;              ///< print what came of each fault
  decltype(&run) run_one = &run;  ///< what runs a code
  unsigned long counted = 0, tried = 0, undecided = 0, failed = 0, cells = 0;
  std::set<std::size_t> met{};  ///< what runs are known by that went through other calls than those before
};

/// Tries the faults of a code on a board, and prints a line that repeats it for each that is answered
/// wrongly.
void sweep_cell(Sweep& sweep, std::string_view board, int code);

/// One fault again ("none": without), with the program's texts (GBK) and calls; in this process, so that a
/// debugger sees it. Whether all is as it should be.
bool replay(std::string_view board, int code, const std::string& fault);

/// Called when a test is not over in a day.
[[noreturn]] void late();
