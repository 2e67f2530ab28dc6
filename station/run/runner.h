// Runs steps one after the other, over as many connections as that takes.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/link/clock.h"
#include "station/link/interrupt.h"
#include "station/link/link.h"
#include "station/run/events.h"
#include "station/run/journal.h"
#include "station/run/opening.h"
#include "station/run/result.h"
#include "station/run/session.h"
#include "station/run/slot.h"

namespace t1station {

/// How a run behaves.
struct RunSettings {
  Patience patience;             ///< with each connection of the run
  double leave_timeout = 3;      ///< seconds to wait until the board closes after the quit request
  bool quit = true;              ///< send the quit request at the end
  bool one_build = false;        ///< a build line other than that of the connection before ends the run
  std::optional<Pattern> build;  ///< what every build line must match, whole
};

/// Runs steps in order and returns one result for each, whatever happens. The run's end is stored then.
///
/// A connection on which a test got no reply, or something wrong, is given up: a late reply must never be
/// taken for the answer to the next request. The next attempt starts on a new connection. When that cannot be
/// made, the steps that remain are not run.
class Runner {
 public:
  /// All arguments but `slot` and `settings` must outlive the runner.
  Runner(Connector& connector, const Clock& clock, Interrupt& interrupt, Listener& listener, Journal& journal,
         const Slot& slot, RunSettings settings)
      : connector_(connector),
        opening_(connector, clock, interrupt, listener, settings.patience),
        clock_(clock),
        interrupt_(interrupt),
        listener_(listener),
        journal_(journal),
        slot_(slot),
        settings_(std::move(settings)) {}

  /// Throws RecordsBroken, when the journal cannot store, and nothing for what a board or a network does.
  std::vector<Result> run(const std::vector<Step>& steps);

  /// The build line of the last connection, for example "BUILD: Mar 29 2019-22:09:55".
  const std::string& build() const { return build_; }

 private:
  std::vector<Result> run_all(const std::vector<Step>& steps);
  void tell_end(const Step& step, const Result& result);
  void leave();
  void open();
  void greet();
  void give_up(bool say_quit);
  bool may_run(const Step& step) const;
  void run_step(const Step& step, Result& result);
  void attempt(const Step& step, int number, Result& result);
  void exchange(const Step& step, Result& result, AttemptEnd& end);
  void tick(const Step& step, double elapsed, AttemptEnd& end);
  void finish_reply(const Step& step, const Reply& reply, AttemptEnd& end);
  void await_answer(const Step& step, double replied, AttemptEnd& end);
  void start_console(AttemptEnd& end);
  void take_console(AttemptEnd& end);
  void finish_console(AttemptEnd& end);
  void measure(const Step& step, AttemptEnd& end);
  void stop();

  Connector& connector_;
  Opening opening_;
  const Clock& clock_;
  Interrupt& interrupt_;
  Listener& listener_;
  Journal& journal_;
  Slot slot_;
  RunSettings settings_;
  std::unique_ptr<Link> link_;
  std::unique_ptr<Session> session_;
  std::string build_, exact_build_;
  std::string skip_reason_;  ///< why the steps that remain are not run
  bool was_greeted_ = false;
  bool is_over_ = false;  ///< nothing more is run, steps with `always` neither
  RunEnd end_;
  std::vector<StepEnded> untold_;  ///< that listeners have not heard of
};

}  // namespace t1station
