#include "station/line/slot_run.h"

#include <atomic>
#include <utility>

#include "station/run/journal.h"
#include "station/run/runner.h"
#include "station/text/errors.h"
#include "station/text/text.h"
#include "station/tools/rs485_echo.h"
#include "station/tools/serial_console.h"

namespace t1station {
namespace {

constexpr double kConnectTime = 10;  // seconds for each try to connect

// Simulated boards run so many times as fast; a person does not.
std::vector<Step> scaled(std::vector<Step> steps, double time_scale) {
  for (Step& step : steps) step.timeout /= time_scale;
  return steps;
}

// What came of a step, in the words of records.
std::string_view outcome_of(const Result& result) {
  switch (result.outcome) {
    case Outcome::passed:
      return attempt_outcome_name(AttemptOutcome::passed);
    case Outcome::failed:
      return attempt_outcome_name(AttemptOutcome::failed);
    case Outcome::timed_out:
      return attempt_outcome_name(AttemptOutcome::timed_out);
    case Outcome::interrupted:
      return attempt_outcome_name(AttemptOutcome::stopped);
    case Outcome::broken:
    case Outcome::not_run:
      break;
  }
  return attempt_outcome_name(AttemptOutcome::broken);
}

}  // namespace

std::uint64_t next_question_number() {
  static std::atomic<std::uint64_t> last = 0;
  return ++last;
}

SlotRun::SlotRun(SlotPlace place, std::shared_ptr<const Plan> plan, std::string run, Records& records,
                 Show show)
    : place_(std::move(place)),
      plan_(std::move(plan)),
      run_(std::move(run)),
      records_(records),
      show_(std::move(show)) {}

EndedRun SlotRun::go() {
  const double start = clock_.now();
  try {
    return run_steps();
  } catch (const LinkError& error) {  // a device of this PC that is not there
    return records_.end_run(run_, {RunEnd::Why::error, clean_text(error.what()), clock_.now() - start});
  }
}

EndedRun SlotRun::run_steps() {
  std::unique_ptr<SerialConsole> console;
  std::unique_ptr<Rs485Partner> rs485;
  const SlotFile& slot = place_.slot;
  if (!slot.console.empty())
    console = std::make_unique<SerialConsole>(slot.console, slot.console_speed, interrupt_);
  if (!slot.rs485.empty()) rs485 = std::make_unique<Rs485Partner>(slot.rs485, place_.time_scale, interrupt_);
  TcpConnector connector(slot.board, kConnectTime, interrupt_);
  RecordsJournal journal(records_, run_, slot.board.text());
  RunSettings settings;
  settings.patience = {place_.board_wait / place_.time_scale, place_.greeting_wait / place_.time_scale};
  settings.one_build = true;
  settings.build = plan_->build;
  Runner runner(connector, clock_, interrupt_, *this, journal, {console.get(), rs485.get(), this}, settings);
  runner.run(scaled(plan_->steps, place_.time_scale));
  return journal.ended();
}

void SlotRun::stop(const char* reason) {
  const std::lock_guard lock(mutex_);
  if (std::exchange(is_stopping_, true)) return interrupt_.raise_at_once();
  interrupt_.raise(reason);
}

void SlotRun::give_answer(bool yes) {
  const std::lock_guard lock(mutex_);
  answer_ = yes;
}

void SlotRun::notice(const std::string& text) {
  show_([&](ShownRun& shown) { shown.waiting_for = text; });
}

// Said several times a second; shown when it is another reason than before.
void SlotRun::waiting(const std::string& reason, double /*elapsed*/) {
  if (std::exchange(waiting_for_, reason) == reason) return;
  show_([&](ShownRun& shown) { shown.waiting_for = reason; });
}

void SlotRun::on(const RunEvent& event) {
  if (std::holds_alternative<Connected>(event)) {
    waiting_for_.clear();
    show_([](ShownRun& shown) {
      shown.is_testing = true;
      shown.waiting_for.clear();
    });
  } else if (const auto* step = std::get_if<StepStarted>(&event)) {
    show_([&](ShownRun& shown) {
      shown.run.step = step->step.name;
      shown.run.index = step->index;
      shown.run.attempt = 0;
    });
  } else if (const auto* attempt = std::get_if<AttemptStarted>(&event)) {
    show_([&](ShownRun& shown) {
      shown.run.attempt = attempt->number;
      if (attempt->number > 1) shown.run.retried = true;
    });
  } else if (const auto* ended = std::get_if<StepEnded>(&event)) {
    const Result& result = ended->result;
    if (result.outcome == Outcome::passed) return;
    show_([&](ShownRun& shown) {
      shown.run.failures.push_back({ended->step.name, std::string(outcome_of(result)), result.description,
                                    result.attempts, ended->step.attempts, result.measurements});
    });
  }
}

void SlotRun::ask(const Question& question) {
  {
    const std::lock_guard lock(mutex_);
    answer_.reset();
  }
  show_([&](ShownRun& shown) {
    shown.run.question = question;
    shown.asked = next_question_number();
  });
}

std::optional<bool> SlotRun::answer() {
  const std::lock_guard lock(mutex_);
  return answer_;
}

void SlotRun::end_question() {
  show_([](ShownRun& shown) {
    shown.run.question.reset();
    shown.asked = 0;
  });
}

}  // namespace t1station
