// What happens in a run, as its listeners get it. What is kept is on the disk before they do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "station/plan/plan.h"
#include "station/protocol/document.h"
#include "station/run/opening.h"
#include "station/run/result.h"

namespace t1station {

/// A board has greeted a connection of the run.
struct Connected {
  std::vector<ServiceMessage> greeting;
  std::string build;      ///< its build line, empty when it has none
  bool is_first = false;  ///< of this run
};

/// A step begins; a connection may have to be made first.
struct StepStarted {
  std::size_t index = 0, total = 0;  ///< its place among the steps, from 0, and their number
  const Step& step;
};

/// Its request goes out next. With a question in the step, that is to be shown from here on.
struct AttemptStarted {
  const Step& step;
  int number = 1;  ///< from 1
};

/// The running attempt has taken so many seconds; called several times a second.
struct AttemptTicked {
  double elapsed = 0;  ///< seconds since its request
};

/// The reply is there, and a person has not answered yet; called several times a second.
struct AnswerAwaited {
  const Question& question;
  double left = 0;  ///< seconds
};

/// An attempt is over.
struct AttemptEnded {
  const Step& step;
  int number = 1;
  const Result& result;
};

/// A step is over: its last attempt, or why there was none.
struct StepEnded {
  const Step& step;
  Result result;
};

using RunEvent = std::variant<Connected, StepStarted, AttemptStarted, AttemptTicked, AnswerAwaited,
                              AttemptEnded, StepEnded>;

/// Hears of everything in a run.
class Listener : public OpeningObserver {
 public:
  virtual void on(const RunEvent& event) = 0;
};

}  // namespace t1station
