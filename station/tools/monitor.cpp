// The monitor reads records itself rather than documents, so that one bad document does not end it.
#include "station/tools/monitor.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "station/protocol/document.h"
#include "station/run/result.h"
#include "station/run/session.h"
#include "station/terminal/progress.h"
#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr double kLongWait = 3600;  // seconds; without a limit the wait is simply repeated

std::string indented(const std::string& lines) {
  std::string result;
  for (const std::string& line : lines_of(lines)) result += "            " + line + "\n";
  return result;
}

std::string shown(const Document& document) {
  if (const ServiceMessage* message = std::get_if<ServiceMessage>(&document)) {
    const std::size_t count = message->lines.size();
    return "message of " + std::to_string(count) + (count == 1 ? " line\n" : " lines\n") +
           indented(shown_lines(*message));
  }
  const Reply& reply = std::get<Reply>(document);
  return "reply to " + std::to_string(reply.code) + " " + reply.test_name + ": " +
         (reply.passed ? "Pass" : "Fail") + "\n" + indented(reply.description);
}

// Banner, menu, or something unreadable in place of one.
bool may_be_greeting(const std::string& record) {
  try {
    const Document document = parse_document(record);
    const ServiceMessage* message = std::get_if<ServiceMessage>(&document);
    return message && belongs_to_greeting(*message);
  } catch (const ProtocolError&) {
    return true;
  }
}

class Watch {
 public:
  Watch(const Clock& clock, const MonitorLimits& limits, std::ostream& out)
      : clock_(clock), limits_(limits), out_(out) {}

  // Shows records until banner and menu were among them, limits or not. One that cannot be read counts as
  // one of the two.
  void greet(Session& session, double seconds, const Tick& tick) {
    const double begin = clock_.now();
    for (int due = 2; due > 0;) {
      const double before = clock_.now() - begin;
      const std::optional<std::string> record = session.next_record(
          std::max(0.0, seconds - before), [&](double elapsed) { tick(before + elapsed); });
      if (!record) throw TimedOut();
      if (show(*record)) --due;
    }
  }

  Watched run(Session& session) {
    try {
      while (!is_over()) {
        const double left = limits_.seconds ? std::max(0.0, *limits_.seconds - elapsed()) : kLongWait;
        if (const std::optional<std::string> record = session.next_record(left)) show(*record);
      }
    } catch (const Interrupted&) {
      return Watched::interrupted;
    } catch (const std::runtime_error& error) {
      print("ended: " + std::string(error.what()) + "\n");
      return Watched::broken;
    }
    return has_unreadable_ ? Watched::broken : Watched::to_the_limit;
  }

 private:
  double elapsed() const { return start_ ? clock_.now() - *start_ : 0; }

  bool is_over() const { return !out_ || (limits_.seconds && elapsed() >= *limits_.seconds) || has_enough(); }

  bool has_enough() const { return limits_.records && count_ >= *limits_.records; }

  // Whether the record may be banner or menu.
  bool show(const std::string& record) {
    if (has_enough()) return may_be_greeting(record);
    if (!start_) start_ = clock_.now();
    ++count_;
    try {
      print(shown(parse_document(record)));
    } catch (const ProtocolError& error) {
      has_unreadable_ = true;
      print("unreadable record of " + std::to_string(record.size()) + " bytes: " + error.what() + "\n");
    }
    return may_be_greeting(record);
  }

  void print(const std::string& text) {
    std::array<char, 64> time{};
    std::snprintf(time.data(), time.size(), "%8.1f s  ", elapsed());
    out_ << time.data() << text << std::flush;
  }

  const Clock& clock_;
  const MonitorLimits& limits_;
  std::ostream& out_;
  std::optional<double> start_;  // when the first record came
  std::size_t count_ = 0;
  bool has_unreadable_ = false;
};

}  // namespace

Watched monitor(Opening& opening, const Clock& clock, const MonitorLimits& limits, bool quit,
                std::ostream& out) {
  Watch watch(clock, limits, out);
  std::unique_ptr<Session> session;
  const std::unique_ptr<Link> link = opening.open([&](Link& fresh, double seconds, const Tick& tick) {
    session = std::make_unique<Session>(fresh, clock);
    watch.greet(*session, seconds, tick);
  });
  const Watched end = watch.run(*session);
  if (quit) session->leave(0);
  return end;
}

}  // namespace t1station
