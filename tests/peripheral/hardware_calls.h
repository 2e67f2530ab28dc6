// What a test requested of the drivers.
#pragma once

#include <string>
#include <vector>

#include "boardsim/board.h"

/// The requests so far, without their times.
inline std::vector<std::string> requests(const boardsim::Board& board) {
  std::vector<std::string> calls;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "ioctl") calls.push_back(call.text());
  }
  return calls;
}
