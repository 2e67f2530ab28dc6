// One test code on one board with one fault, and what came of it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"

/// What a station, and somebody who looks into the board, sees of a test.
struct Outcome {
  std::vector<std::string> replies;  ///< "Pass", "Fail" or "?" each; "?" is no whole record, or another
  std::vector<boardsim::Call>
      trace;              ///< the calls of the test; allocations and what wrapped.h spoils behind all others
  boardsim::Time took{};  ///< virtual time
  std::vector<std::string> left_open;   ///< nodes that are open behind it, sorted; "socket" for sockets
  std::vector<std::string> violations;  ///< calls that the board does not know
  std::string next;  ///< what the next request on the connection, for the temperature, gets
};

/// Runs a code on a board of a family, under faults as laid() gives them, then takes these away and sends the
/// next request. `late` is called when the test is not over in a day of virtual time; it must not return.
Outcome run(std::string_view family, int code, const std::vector<std::string>& faults, void (*late)());

/// Enters into a healthy run's trace what its reads of input lines got: the second word of their records
/// becomes the line's level.
void enter_levels(std::string_view family, int code, Outcome& healthy);
