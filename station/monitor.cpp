// The monitor reads records itself rather than documents, so that one bad document does not end it.
#include "station/monitor.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "station/document.h"
#include "station/errors.h"
#include "station/frame.h"
#include "station/progress.h"
#include "station/result.h"
#include "station/session.h"
#include "station/text.h"

namespace t1station {
namespace {

constexpr double long_wait = 3600;  // seconds; without a limit the wait is simply repeated

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

class Watch {
 public:
  Watch(Link& link, const Clock& clock, const MonitorLimits& limits, std::ostream& out)
      : link_(link), clock_(clock), limits_(limits), out_(out), start_(clock.now()) {}

  int run() {
    try {
      while (!is_over()) {
        if (const std::optional<std::string> document = reader_.next()) {
          show(*document);
        } else if (!receive()) {
          return exit_code::interrupted;
        }
      }
    } catch (const std::runtime_error& error) {
      print("ended: " + std::string(error.what()) + "\n");
      return exit_code::broken;
    }
    return has_unreadable_ ? exit_code::broken : exit_code::passed;
  }

 private:
  double elapsed() const { return clock_.now() - start_; }

  bool is_over() const {
    return (limits_.seconds && elapsed() >= *limits_.seconds) ||
           (limits_.records && count_ >= *limits_.records);
  }

  // False when the operator wants to stop.
  bool receive() {
    const Received received =
        link_.receive(limits_.seconds ? std::max(0.0, *limits_.seconds - elapsed()) : long_wait);
    if (received.kind == Received::Kind::closed) throw LinkError(received.bytes);
    if (received.kind == Received::Kind::data) reader_.feed(received.bytes);
    return received.kind != Received::Kind::interrupted;
  }

  void show(const std::string& document) {
    ++count_;
    try {
      print(shown(parse_document(document)));
    } catch (const ProtocolError& error) {
      has_unreadable_ = true;
      print("unreadable record of " + std::to_string(document.size()) + " bytes: " + error.what() + "\n");
    }
  }

  void print(const std::string& text) {
    std::array<char, 64> time{};
    std::snprintf(time.data(), time.size(), "%8.1f s  ", elapsed());
    out_ << time.data() << text << std::flush;
  }

  Link& link_;
  const Clock& clock_;
  const MonitorLimits& limits_;
  std::ostream& out_;
  double start_;
  RecordReader reader_;
  std::size_t count_ = 0;
  bool has_unreadable_ = false;
};

}  // namespace

int monitor(Link& link, const Clock& clock, const MonitorLimits& limits, bool quit, std::ostream& out) {
  const int code = Watch(link, clock, limits, out).run();
  if (quit) Session(link, clock).leave(0);
  return code;
}

}  // namespace t1station
