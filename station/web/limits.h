// How much a server of the line takes, and from whom.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>

namespace t1station {

/// Times are seconds.
struct WebLimits {
  std::function<double()> now;     ///< seconds of some clock; empty: the PC's monotonic one
  std::size_t connections = 1024;  ///< at a time
  std::optional<std::size_t>
      of_one_address;              ///< connections at a time; nothing: 64 beyond loopback, else all
  std::size_t target = 8192;       ///< bytes
  std::size_t head = 16384;        ///< bytes
  std::size_t body = 65536;        ///< bytes
  double whole_request = 30;       ///< for a request, from its first byte on, and for a handshake
  double between_requests = 75;    ///< for which a connection without a request is kept
  double whole_answer = 30;        ///< for an answer to be taken
  double behind = 10;              ///< for one event to be taken; a slower reader loses its stream
  double farewell = 2;             ///< for the rest of what is refused
  double between_documents = 0.1;  ///< at least, on a stream
};

}  // namespace t1station
