// What the tests of what a station asks for share: a board, its console, a station.
#pragma once

#include <string_view>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/harness/station_link.h"

/// A healthy board with nothing said, heard or called yet.
class StationRun : public OnBoard {
 protected:
  explicit StationRun(std::string_view family = "normal") : OnBoard(family) { board.clear_trace(); }

  /// Goes on with another such board.
  void next_board(std::string_view family) {
    with_family(family);
    board.clear_trace();
    forget();
  }
  /// Forgets what was said and heard so far.
  void forget() {
    station.forget();
    console.clear();
  }

  Console console;
  StationLink station;
};
