// The connection to a board: bytes out, bytes in, never waiting longer than asked for. Only looking up a
// host's name takes as long as this PC's resolver likes.
#pragma once

#include <string>
#include <string_view>

#include "station/link/interrupt.h"

namespace t1station {

/// What one wait for bytes brought.
struct Received {
  enum class Kind {
    data,        ///< `bytes` holds at least one byte
    nothing,     ///< the time is over, or the wait ended early for no reason of the board's
    closed,      ///< the board closed the connection, in order or by a reset; `reason` says how
    interrupted  ///< the operator wants to stop
  };
  Kind kind = Kind::nothing;
  std::string bytes;
  std::string reason;  ///< for people
};

/// A connection to a board.
class Link {
 public:
  Link() = default;
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;
  virtual ~Link() = default;

  /// Sends all bytes. Throws LinkError when the connection is gone or takes nothing for ten seconds.
  virtual void send(std::string_view bytes) = 0;

  /// Waits at most `seconds` for bytes; with 0 takes only what is there.
  virtual Received receive(double seconds) = 0;
};

/// Where a board listens.
struct Address {
  std::string host;
  std::string port;
  std::string interface {};  ///< of this PC, behind which the board is; empty: the system's choice

  /// "HOST:PORT"
  std::string text() const { return host + ":" + port; }
};

/// The port on which boards listen unless something else is said.
inline constexpr const char* kDefaultPort = "36001";

/// Reads HOST[:PORT]. Throws UsageError for an empty host or a port that is none.
Address parse_address(const std::string& text);

/// Nothing when connections can be bound to this network interface, else why not, for people.
std::string trouble_with_interface(const std::string& interface);

/// A TCP connection over IPv4.
class TcpLink final : public Link {
 public:
  /// Connects within `seconds` to each of the host's addresses in turn.
  /// Throws NotThereYet when nobody is there, or LinkError with any other reason why no connection comes
  /// about, or when `interrupt` is raised.
  TcpLink(const Address& address, double seconds, const Interrupt& interrupt);
  ~TcpLink() override;

  void send(std::string_view bytes) override;
  Received receive(double seconds) override;

 private:
  int try_all(const Address& address, double seconds);

  const Interrupt& interrupt_;
  int socket_ = -1;
};

}  // namespace t1station
