// A connection without a network and a clock without time: a board's answers come when the script says.
#pragma once

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "station/clock.h"
#include "station/errors.h"
#include "station/link.h"

/// A clock that stands still until it is moved.
class ManualClock final : public t1station::Clock {
 public:
  double now() const override { return now_; }
  void move_to(double time) { now_ = std::max(now_, time); }

 private:
  double now_ = 1000;
};

/// Something that happens on the connection so many seconds after its cause.
struct Event {
  double after = 0;
  t1station::Received what;
};

inline Event bytes_after(double seconds, std::string bytes) {
  return {seconds, {t1station::Received::Kind::data, std::move(bytes)}};
}
inline Event close_after(double seconds) {
  return {seconds, {t1station::Received::Kind::closed, "the board closed the connection"}};
}
inline Event interrupt_after(double seconds) {
  return {seconds, {t1station::Received::Kind::interrupted, {}}};
}

/// Waiting moves the clock. Events of one cause must be in the order of their times.
class ScriptedLink final : public t1station::Link {
 public:
  /// `at_start` happens after the connection was made, `answers[n]` after the n-th send.
  ScriptedLink(ManualClock& clock, const std::vector<Event>& at_start,
               std::vector<std::vector<Event>> answers = {})
      : clock_(clock), answers_(answers.begin(), answers.end()) {
    schedule(at_start);
  }

  void send(std::string_view bytes) override {
    if (is_closed_) throw t1station::LinkError("sending failed: Broken pipe");
    sent.emplace_back(bytes);
    if (answers_.empty()) return;
    schedule(answers_.front());
    answers_.pop_front();
  }

  t1station::Received receive(double seconds) override {
    const double until = clock_.now() + seconds;
    if (pending_.empty() || pending_.front().after > until) {
      clock_.move_to(until);
      return {};
    }
    const Event event = pending_.front();
    pending_.pop_front();
    clock_.move_to(event.after);
    is_closed_ = event.what.kind == t1station::Received::Kind::closed;
    return event.what;
  }

  std::vector<std::string> sent;  ///< every record that was sent

 private:
  void schedule(const std::vector<Event>& events) {
    for (const Event& event : events) pending_.push_back({clock_.now() + event.after, event.what});
  }

  ManualClock& clock_;
  std::deque<Event> pending_;
  std::deque<std::vector<Event>> answers_;
  bool is_closed_ = false;
};
