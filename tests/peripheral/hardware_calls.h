// What a test asked of the hardware, and when.
#pragma once

#include <string>
#include <vector>

#include "boardsim/board.h"

/// The opens, requests and closes so far, each behind its virtual time in seconds:
/// "10.000000 close /dev/led = 0". Waits show in the times only.
inline std::vector<std::string> timed_node_calls(const boardsim::Board& board) {
  std::vector<std::string> calls;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "open" || call.name == "ioctl" || (call.name == "close" && call.node != "station")) {
      calls.push_back(call.timed_text());
    }
  }
  return calls;
}

/// The requests alone, without their times.
inline std::vector<std::string> requests(const boardsim::Board& board) {
  std::vector<std::string> calls;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "ioctl") calls.push_back(call.text());
  }
  return calls;
}
