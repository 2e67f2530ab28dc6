// One unit in one slot, from its scan to its verdict.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "station/line/line.h"
#include "station/link/clock.h"
#include "station/link/interrupt.h"
#include "station/run/events.h"
#include "station/run/slot.h"

namespace t1station {

/// What a slot shows while a unit is in it.
struct ShownRun {
  RunView run;
  bool is_testing = false;  ///< its board has greeted
  std::string waiting_for;  ///< why it has not, for people
  std::uint64_t asked = 0;  ///< place of its question among all that were asked; 0: none is open
  std::string plan_name, plan_version;
};

/// Changes what a slot shows, under the line's lock, and tells everybody.
using Show = std::function<void(const std::function<void(ShownRun&)>& change)>;

/// Where and how a unit is tested.
struct SlotPlace {
  SlotFile slot;
  double board_wait = 60, greeting_wait = 300, time_scale = 1;  ///< as the line's file says
};

/// A run that is on its way. What it shows is stored before.
class SlotRun final : private Listener, private Person {
 public:
  /// `run` is the id of a run that has begun. `records` must outlive this.
  SlotRun(SlotPlace place, std::shared_ptr<const Plan> plan, std::string run, Records& records, Show show);

  /// Tests the unit. Throws RecordsBroken.
  EndedRun go();

  /// Ends it as soon as steps with `always` were run; the second time at once. Safe from any thread, as all
  /// below. `reason` must be a text that stays.
  void stop(const char* reason);
  /// Ends it now.
  void stop_at_once() { interrupt_.raise_at_once(); }
  /// What a person says to the question that is open.
  void give_answer(bool yes);

 private:
  void notice(const std::string& text) override;
  void waiting(const std::string& reason, double elapsed) override;
  void on(const RunEvent& event) override;
  void ask(const Question& question) override;
  std::optional<bool> answer() override;
  void end_question() override;

  EndedRun run_steps();

  SlotPlace place_;
  std::shared_ptr<const Plan> plan_;
  std::string run_;
  Records& records_;
  Show show_;
  SteadyClock clock_;
  Interrupt interrupt_;
  std::string waiting_for_;
  std::mutex mutex_;  // of what follows
  bool is_stopping_ = false;
  std::optional<bool> answer_;
};

/// A place among the questions of all slots: larger at each call, from 1.
std::uint64_t next_question_number();

}  // namespace t1station
