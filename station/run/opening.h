// From nothing to a connection whose greeting has come, with the patience that boards need.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "station/link/clock.h"
#include "station/link/interrupt.h"
#include "station/link/link.h"
#include "station/run/session.h"

namespace t1station {

/// Makes connections to one board.
class Connector {
 public:
  Connector() = default;
  Connector(const Connector&) = delete;
  Connector& operator=(const Connector&) = delete;
  virtual ~Connector() = default;

  /// Makes a new connection. Throws NotThereYet, LinkError.
  virtual std::unique_ptr<Link> connect() = 0;
  /// Waits so many seconds. Throws Interrupted.
  virtual void pause(double seconds) = 0;
};

/// Connects over TCP.
class TcpConnector final : public Connector {
 public:
  /// Each try has so many seconds. `interrupt` must outlive the connector.
  TcpConnector(const Address& address, double seconds, const Interrupt& interrupt)
      : address_(address), seconds_(seconds), interrupt_(interrupt) {}

  std::unique_ptr<Link> connect() override;
  void pause(double seconds) override;

 private:
  Address address_;
  double seconds_;
  const Interrupt& interrupt_;
};

/// How long a station waits for a board.
struct Patience {
  double absence =
      0;  ///< seconds for which a board that is not there, or closes before its greeting, is tried again
  double greeting = 300;  ///< seconds for banner and menu once the connection stands
};

/// Called while a connection comes about.
class OpeningObserver {
 public:
  OpeningObserver() = default;
  OpeningObserver(const OpeningObserver&) = delete;
  OpeningObserver& operator=(const OpeningObserver&) = delete;
  virtual ~OpeningObserver() = default;

  /// Something that the operator must know; said once.
  virtual void notice(const std::string& text) = 0;
  /// The station waits for this reason, for so many seconds so far; called several times a second.
  virtual void waiting(const std::string& reason, double elapsed) = 0;
};

/// Takes the greeting of a new connection, within so many seconds and ticking.
/// Throws TimedOut, Interrupted, LinkError, ProtocolError.
using Greet = std::function<void(Link& link, double seconds, const Tick& tick)>;

/// Opens connections to a board that serves one station at a time.
///
/// A board's server ends when a station that waits for its turn leaves, so the first interrupt during that
/// wait only brings a warning. It counts as soon as the greeting is there, when leaving does no harm.
class Opening {
 public:
  /// All arguments but `patience` must outlive this.
  Opening(Connector& connector, const Clock& clock, Interrupt& interrupt, OpeningObserver& observer,
          const Patience& patience)
      : connector_(connector),
        clock_(clock),
        interrupt_(interrupt),
        observer_(observer),
        patience_(patience) {}

  /// A connection on which `greet` has taken the greeting. Throws LinkError, NoGreeting, Interrupted,
  /// ProtocolError.
  std::unique_ptr<Link> open(const Greet& greet);

 private:
  void wait_for_greeting(Link& link, double seconds, const Greet& greet);

  Connector& connector_;
  const Clock& clock_;
  Interrupt& interrupt_;
  OpeningObserver& observer_;
  Patience patience_;
};

}  // namespace t1station
