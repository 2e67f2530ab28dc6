// Runs a list of tests, over as many connections as that takes.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "station/link/clock.h"
#include "station/link/interrupt.h"
#include "station/link/link.h"
#include "station/run/opening.h"
#include "station/run/result.h"
#include "station/run/session.h"

namespace t1station {

/// Called as a run goes on.
class Observer : public OpeningObserver {
 public:
  /// Banner and menu came; called once in a run.
  virtual void greeted(const std::vector<ServiceMessage>& greeting) = 0;
  /// The test at this place (from 0) of so many begins.
  virtual void started(std::size_t index, std::size_t total, std::int32_t code) = 0;
  /// The running test has taken so many seconds.
  virtual void ticked(double elapsed) = 0;
  /// The test that was started last is over.
  virtual void finished(const Result& result) = 0;
};

/// How a run behaves.
struct RunSettings {
  Patience patience;         ///< with each connection of the run
  double leave_timeout = 3;  ///< seconds to wait until the board closes after the quit request
  bool quit = true;          ///< send the quit request at the end
  bool keep_going = true;    ///< false: leave out what follows the first test that does not pass
};

/// Runs the tests in order and returns one result for each, whatever happens.
///
/// A connection on which a test got no reply, or something wrong, is given up: a late reply must never be
/// taken for the answer to the next request. The next test starts on a new connection. When that cannot be
/// made, the tests that remain are not run.
class Runner {
 public:
  /// All arguments must outlive the runner.
  Runner(Connector& connector, const Clock& clock, Interrupt& interrupt, Observer& observer,
         const RunSettings& settings)
      : opening_(connector, clock, interrupt, observer, settings.patience),
        clock_(clock),
        interrupt_(interrupt),
        observer_(observer),
        settings_(settings) {}

  /// Never throws for anything that a board or a network does.
  std::vector<Result> run(const std::vector<TestRequest>& requests);

  /// The board's build line out of its banner, for example "BUILD: Mar 29 2019-22:09:55".
  const std::string& build() const { return build_; }

 private:
  void open();
  void give_up(bool say_quit);
  void run_one(const TestRequest& request, Result& result);

  Opening opening_;
  const Clock& clock_;
  const Interrupt& interrupt_;
  Observer& observer_;
  const RunSettings& settings_;
  std::unique_ptr<Link> link_;
  std::unique_ptr<Session> session_;
  std::string build_;
  bool was_greeted_ = false;
  bool is_unreachable_ = false;
};

}  // namespace t1station
