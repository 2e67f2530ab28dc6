// One connection to a board: its greeting, one test at a time, and the quit request at its end.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "station/link/clock.h"
#include "station/link/link.h"
#include "station/protocol/document.h"
#include "station/protocol/frame.h"
#include "station/run/result.h"
#include "station/text/errors.h"

namespace t1station {

/// One test to ask for.
struct TestRequest {
  std::int32_t code = 0;
  std::optional<std::int32_t> parameter;
  double timeout = 0;  ///< seconds to wait for the reply
};

/// Called with the seconds that something has taken so far, several times a second while it lasts.
using Tick = std::function<void(double elapsed)>;

/// Whether this is banner or menu, which have several lines; a heartbeat has one.
bool belongs_to_greeting(const ServiceMessage& message);

/// The conversation over one connection. After any exception it is over: what arrives later can no longer be
/// distinguished from the reply to the next request.
class Session {
 public:
  /// Both must outlive the session.
  Session(Link& link, const Clock& clock) : link_(link), clock_(clock) {}

  /// Waits at most `seconds` for banner and menu, which open every connection, and returns them. `tick` is
  /// called while it waits.
  /// Throws TimedOut, Interrupted, LinkError, ProtocolError.
  std::vector<ServiceMessage> greet(double seconds, const Tick& tick = {});

  /// Runs one test: sends the request and waits for its reply. Service messages in between are dropped.
  /// Throws TimedOut, Interrupted, LinkError, and ProtocolError for a reply that was not asked for.
  Reply run(const TestRequest& request, const Tick& tick);

  /// What came for the last request, or unasked, as far as it came: the bytes of a document, without length.
  /// Empty when nothing did.
  std::string received() const { return received_.empty() ? reader_.part() : received_; }

  /// The next document of any kind, or nothing after `seconds`.
  /// Throws Interrupted, LinkError, ProtocolError.
  std::optional<Document> next(double seconds, const Tick& tick = {});

  /// The same before anybody has read it: the bytes of one document.
  std::optional<std::string> next_record(double seconds, const Tick& tick = {});

  /// Sends the quit request, so that the board is free for the next station at once, and waits at most
  /// `seconds` until the board has closed. Never throws: the connection may be gone already.
  void leave(double seconds) noexcept;

 private:
  void refuse_stale_replies();

  Link& link_;
  const Clock& clock_;
  RecordReader reader_;
  std::string received_;
};

}  // namespace t1station
