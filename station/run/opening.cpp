// Tries again while nobody is there, and waits for the board's turn once somebody is.
#include "station/run/opening.h"

#include <poll.h>

#include <cmath>

#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr double kRetryPause = 0.1;  // seconds between two tries to connect
constexpr double kShortWhile = 2;    // seconds in which a board that is free has greeted

constexpr const char* kBusy = "the board is busy with another station";

}  // namespace

std::unique_ptr<Link> TcpConnector::connect() {
  return std::make_unique<TcpLink>(address_, seconds_, interrupt_);
}

void TcpConnector::pause(double seconds) {
  pollfd item{interrupt_.descriptor(), POLLIN, 0};
  poll(&item, 1, static_cast<int>(std::ceil(seconds * 1000)));
  if (interrupt_.is_raised()) throw Interrupted();
}

std::unique_ptr<Link> Opening::open(const Greet& greet) {
  double absent = 0;
  double left = patience_.greeting;
  while (true) {
    const double start = clock_.now();
    std::unique_ptr<Link> link;
    std::string reason;
    try {
      link = connector_.connect();
    } catch (const NotThereYet& error) {
      reason = error.what();
    }
    const double connected = clock_.now();
    absent += connected - start;
    if (link) {
      try {
        wait_for_greeting(*link, left, greet);
        return link;
      } catch (const LinkError& error) {
        reason = std::string(error.what()) + " before its greeting";
        left -= clock_.now() - connected;
      }
    }
    if (absent >= patience_.absence) throw LinkError(reason);
    observer_.waiting(reason, absent);
    connector_.pause(kRetryPause);
    absent += kRetryPause;
  }
}

void Opening::wait_for_greeting(Link& link, double seconds, const Greet& greet) {
  bool is_busy = false, is_warned = false;
  const Tick tick = [&](double elapsed) {
    if (elapsed >= kShortWhile && !is_busy) {
      is_busy = true;
      observer_.notice(std::string(kBusy) + "; waiting up to " + whole_seconds_text(seconds) +
                       " s for its greeting");
    }
    if (interrupt_.is_noted() && !is_warned) {
      is_warned = true;
      observer_.notice(
          "still waiting for the greeting, since leaving now would end the board's server; stop once more to "
          "leave all the same");
    }
    if (is_busy) observer_.waiting(kBusy, elapsed);
  };
  const auto say_what_leaving_does = [this] {
    observer_.notice(
        "left before the greeting: the board's server ends when it comes to this connection, and may be gone "
        "for a "
        "minute");
  };
  try {
    const HeldInterrupt held(interrupt_);
    greet(link, seconds, tick);
  } catch (const TimedOut&) {
    say_what_leaving_does();
    throw NoGreeting("no banner and menu within " + whole_seconds_text(seconds) +
                     " s: the board is busy with another station or a test, or this is no board");
  } catch (const Interrupted&) {
    say_what_leaving_does();
    throw;
  }
}

}  // namespace t1station
