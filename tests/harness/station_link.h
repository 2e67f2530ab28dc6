// A connected station: the board's end is the program's client socket.
#pragma once

#include "tests/harness/station.h"

/// A loopback TCP connection whose board side stands in g_iSockClient while it lives. Afterwards both
/// ends are closed and g_iSockClient is -1. One at a time; make it after the board it belongs to.
class StationLink : public Station {
 public:
  StationLink();
  ~StationLink();

  /// The board's end.
  int board_socket() const { return board_socket_; }

 private:
  int board_socket_ = -1;
};
