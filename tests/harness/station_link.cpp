// Connects a station with the program's client socket.
#include "tests/harness/station_link.h"

#include <sys/socket.h>
#include <unistd.h>
#include <stdexcept>

#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/harness/wire.h"

int in_this_process() {
  return g_iSockClient;
}

StationLink::StationLink() {
  std::uint16_t port = 0;
  const int listener = wire::listen(port);
  connect("127.0.0.1", port);
  // Through the C library: from here on the simulated board knows the socket as the station's.
  board_socket_ = ::accept(listener, nullptr, nullptr);
  wire::close(listener);
  if (board_socket_ < 0) throw std::runtime_error("no loopback connection");
  g_iSockClient = board_socket_;
}

StationLink::~StationLink() {
  ::close(board_socket_);
  g_iSockClient = -1;
}
