// A connection without a network and a clock without time: a board's answers come when the script says.
#pragma once

#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "station/link/clock.h"
#include "station/link/link.h"
#include "station/run/opening.h"
#include "station/text/errors.h"

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
  return {seconds, {t1station::Received::Kind::data, std::move(bytes), {}}};
}
inline Event close_after(double seconds) {
  return {seconds, {t1station::Received::Kind::closed, {}, "the board closed the connection"}};
}
inline Event interrupt_after(double seconds) {
  return {seconds, {t1station::Received::Kind::interrupted, {}, {}}};
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

/// Gives one scripted link after the other. Pauses move the clock.
class ScriptedConnector final : public t1station::Connector {
 public:
  /// The n-th connection starts with `starts[n]` and has the answers `answers[n]`; behind the last one nobody
  /// is there.
  ScriptedConnector(ManualClock& clock, std::vector<std::vector<Event>> starts,
                    std::vector<std::vector<std::vector<Event>>> answers)
      : clock_(clock), starts_(std::move(starts)), answers_(std::move(answers)) {}

  std::unique_ptr<t1station::Link> connect() override {
    ++tries;
    if (tries <= absences || links.size() >= starts_.size()) {
      throw t1station::NotThereYet("no connection to board: Connection refused");
    }
    const std::size_t place = links.size();
    links.push_back(std::make_shared<ScriptedLink>(
        clock_, starts_[place],
        place < answers_.size() ? answers_[place] : std::vector<std::vector<Event>>()));
    return std::make_unique<SharedLink>(links.back());
  }

  void pause(double seconds) override { clock_.move_to(clock_.now() + seconds); }

  std::size_t absences = 0;  ///< so many tries at the start find nobody
  std::size_t tries = 0;
  std::vector<std::shared_ptr<ScriptedLink>> links;  ///< every connection, with what was sent

 private:
  // Leaves the script to those who look at it afterwards.
  class SharedLink final : public t1station::Link {
   public:
    explicit SharedLink(std::shared_ptr<ScriptedLink> link) : link_(std::move(link)) {}
    void send(std::string_view bytes) override { link_->send(bytes); }
    t1station::Received receive(double seconds) override { return link_->receive(seconds); }

   private:
    std::shared_ptr<ScriptedLink> link_;
  };

  ManualClock& clock_;
  std::vector<std::vector<Event>> starts_;
  std::vector<std::vector<std::vector<Event>>> answers_;
};
