// Steps in a row, and what to do about the connection when one of them goes wrong.
#include "station/run/runner.h"

#include <utility>

#include "station/catalogue/codes.h"
#include "station/plan/measure.h"
#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::int32_t kEchoTest = 1024;
constexpr double kPauseSeconds = 0.1;
constexpr const char* kStopped = "interrupted by the operator";

std::string build_line(const std::vector<ServiceMessage>& greeting,
                       std::vector<std::string> ServiceMessage::*texts) {
  for (const ServiceMessage& message : greeting) {
    for (const std::string& context : message.*texts) {
      for (const std::string& line : lines_of(context)) {
        if (line.starts_with("BUILD:")) return line;
      }
    }
  }
  return {};
}

std::string timeout_text(double seconds) {
  return "no reply within " + whole_seconds_text(seconds) +
         " s: the board does not know this code, or the test hangs";
}

std::string named(const std::string& text) {
  return text.empty() ? "none" : "\"" + text + "\"";
}

Outcome shown_outcome(AttemptOutcome outcome) {
  switch (outcome) {
    case AttemptOutcome::passed:
      return Outcome::passed;
    case AttemptOutcome::failed:
      return Outcome::failed;
    case AttemptOutcome::timed_out:
      return Outcome::timed_out;
    case AttemptOutcome::broken:
      return Outcome::broken;
    case AttemptOutcome::stopped:
    case AttemptOutcome::interrupted:
      return Outcome::interrupted;
  }
  return Outcome::broken;
}

/// Another board than the run's stands at the address.
class OtherBoard : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace

void Runner::open() {
  if (session_) return;
  try {
    greet();
  } catch (const OtherBoard&) {
    give_up(true);
    throw;
  } catch (const RecordsBroken&) {
    throw;
  } catch (const std::exception&) {
    give_up(false);
    throw;
  }
  if (interrupt_.is_raised()) throw Interrupted();
}

void Runner::greet() {
  Connected event;
  link_ = opening_.open([&](Link& link, double seconds, const Tick& on_tick) {
    session_ = std::make_unique<Session>(link, clock_);
    event.greeting = session_->greet(seconds, on_tick);
  });
  event.build = build_line(event.greeting, &ServiceMessage::lines);
  event.is_first = !was_greeted_;
  journal_.connected(event.build);
  const std::string before = std::exchange(build_, event.build);
  // Two builds may differ only in characters that are not shown.
  const std::string exact = build_line(event.greeting, &ServiceMessage::exact);
  const bool is_another = std::exchange(exact_build_, exact) != exact;
  was_greeted_ = true;
  listener_.on(event);
  if (settings_.build && !settings_.build->matches(build_)) {
    throw OtherBoard("the board's build line, " + named(build_) + ", is not one of this plan, " +
                     named(settings_.build->text()));
  }
  if (settings_.one_build && !event.is_first && is_another) {
    if (before == build_) {
      throw OtherBoard("another board, or another program on it: its build line, " + named(build_) +
                       ", now has other characters that cannot be shown");
    }
    throw OtherBoard("another board, or another program on it: its build line is " + named(build_) +
                     ", and was " + named(before));
  }
}

void Runner::give_up(bool say_quit) {
  if (session_ && say_quit && settings_.quit) session_->leave(0);
  session_.reset();
  link_.reset();
}

/// What was printed before is none of this attempt's: a number in it would be of another one.
void Runner::start_console(AttemptEnd& end) {
  if (slot_.console == nullptr) return;
  slot_.console->take();
  end.console.emplace();
}

void Runner::take_console(AttemptEnd& end) {
  if (slot_.console == nullptr) return;
  std::string& kept = *end.console;
  kept += slot_.console->take();
  if (kept.size() > kMostConsole) kept.erase(0, kept.size() - kMostConsole);
}

void Runner::finish_console(AttemptEnd& end) {
  if (slot_.console == nullptr) return;
  const double start = clock_.now();
  double heard = start;
  std::size_t size = end.console->size();
  while (clock_.now() - heard < kConsoleQuiet && clock_.now() - start < kConsoleWait) {
    connector_.pause(kConsoleQuiet / 5);
    take_console(end);
    if (end.console->size() != size) heard = clock_.now();
    size = end.console->size();
  }
}

void Runner::tick(const Step& step, double elapsed, AttemptEnd& end) {
  take_console(end);
  if (slot_.rs485 != nullptr && step.code == kEchoTest) slot_.rs485->tick(elapsed);
  if (step.confirm && slot_.person != nullptr && end.answer.empty()) {
    if (const std::optional<bool> answer = slot_.person->answer()) end.answer = *answer ? "yes" : "no";
  }
  listener_.on(AttemptTicked{elapsed});
}

void Runner::await_answer(const Step& step, double replied, AttemptEnd& end) {
  if (!step.confirm) return;
  while (end.answer.empty() && slot_.person != nullptr) {
    const double left = kAnswerTime - (clock_.now() - replied);
    if (left <= 0) break;
    if (const std::optional<bool> answer = slot_.person->answer()) {
      end.answer = *answer ? "yes" : "no";
      break;
    }
    listener_.on(AnswerAwaited{*step.confirm, left});
    connector_.pause(kPauseSeconds);
  }
  if (end.answer.empty()) {
    end.outcome = AttemptOutcome::timed_out;
    end.description += (end.description.empty() ? "" : "\n") + ("nobody answered: " + step.confirm->text());
  } else if (end.answer == "no") {
    end.outcome = AttemptOutcome::failed;
    end.description += end.description.empty() ? "" : "\n";
    end.description.append(kAnsweredNo).append(step.confirm->text());
  }
}

void Runner::measure(const Step& step, AttemptEnd& end) {
  const Findings findings{end.description, end.console, end.seconds};
  for (const Measure& measure : step.measures) {
    end.measurements.push_back(take_measurement(measure, findings));
    const bool is_right = end.measurements.back().outcome == "passed";
    if (!is_right && end.outcome == AttemptOutcome::passed) end.outcome = AttemptOutcome::failed;
  }
}

void Runner::finish_reply(const Step& step, const Reply& reply, AttemptEnd& end) {
  const double replied = clock_.now();
  end.outcome = reply.passed ? AttemptOutcome::passed : AttemptOutcome::failed;
  end.board_name = reply.test_name;
  end.description = reply.description;
  finish_console(end);
  measure(step, end);
  if (slot_.rs485 != nullptr && step.code == kEchoTest) {
    end.description += (end.description.empty() ? "" : "\n") + slot_.rs485->words();
    if (!slot_.rs485->is_right()) end.outcome = AttemptOutcome::failed;
  }
  await_answer(step, replied, end);
}

/// Everything between request and verdict of one attempt; what goes wrong on the way is its outcome.
void Runner::exchange(const Step& step, Result& result, AttemptEnd& end) {
  const double start = clock_.now();
  try {
    start_console(end);
    if (step.confirm && slot_.person != nullptr) slot_.person->ask(*step.confirm);
    if (slot_.rs485 != nullptr && step.code == kEchoTest) slot_.rs485->begin();
    const Reply reply = session_->run({step.code, step.parameter, step.timeout},
                                      [&](double elapsed) { tick(step, elapsed, end); });
    end.seconds = clock_.now() - start;
    end.reply = session_->received();
    finish_reply(step, reply, end);
    // The board goes down behind this reply; nothing more is to be said on this connection.
    if (step.code == kRestartCode) give_up(false);
  } catch (const Interrupted&) {
    end.outcome = AttemptOutcome::stopped;
    end.description = interrupt_.reason(kStopped);
  } catch (const TimedOut&) {
    end.outcome = AttemptOutcome::timed_out;
    end.description = timeout_text(step.timeout);
  } catch (const std::runtime_error& error) {
    end.outcome = interrupt_.is_raised() ? AttemptOutcome::stopped : AttemptOutcome::broken;
    end.description = clean_text(error.what());
  }
  if (slot_.person != nullptr && step.confirm) slot_.person->end_question();
  if (end.seconds == 0) end.seconds = clock_.now() - start;
  if (session_ && end.reply.empty()) end.reply = session_->received();
  result.seconds = end.seconds;
  result.outcome = shown_outcome(end.outcome);
  result.test_name = end.board_name;
  result.description = end.description;
  result.measurements = end.measurements;
  result.answer = end.answer;
}

void Runner::attempt(const Step& step, int number, Result& result) {
  journal_.attempt_starts({.step = step.name,
                           .step_index = result.index,
                           .number = number,
                           .code = step.code,
                           .parameter = step.parameter,
                           .request = make_request(step.code, step.parameter)});
  listener_.on(AttemptStarted{step, number});
  result.attempts = number;
  AttemptEnd end;
  exchange(step, result, end);
  const bool has_reply = end.outcome == AttemptOutcome::passed || end.outcome == AttemptOutcome::failed;
  if (!has_reply) give_up(true);
  journal_.attempt_ended(end);
  listener_.on(AttemptEnded{step, number, result});
  if (end.outcome == AttemptOutcome::stopped) stop();
}

void Runner::stop() {
  end_.why = RunEnd::Why::stopped;
  end_.reason = skip_reason_ = interrupt_.reason(kStopped);
  // On a board that never answered there is nothing to be put back.
  is_over_ = interrupt_.is_at_once() || !was_greeted_;
  interrupt_.accept();  // the waits of steps with `always` are not to end at once
}

void Runner::run_step(const Step& step, Result& result) {
  const double start = clock_.now();
  for (int number = 1; number <= step.attempts; ++number) {
    try {
      open();
    } catch (const Interrupted&) {
      if (result.attempts == 0) {
        result.outcome = Outcome::interrupted;
        result.description = interrupt_.reason(kStopped);
        result.seconds = clock_.now() - start;
      }
      return stop();
    } catch (const RecordsBroken&) {
      throw;
    } catch (const std::runtime_error& error) {
      const bool is_stopped = interrupt_.is_raised();
      const std::string reason = clean_text(error.what());
      // What came of the attempt before stays: it is what is stored of the step.
      if (result.attempts == 0) {
        result.outcome = is_stopped ? Outcome::interrupted : Outcome::broken;
        result.description = reason;
        result.seconds = clock_.now() - start;
      }
      if (is_stopped) return stop();
      is_over_ = true;
      const bool is_other = dynamic_cast<const OtherBoard*>(&error) != nullptr;
      skip_reason_ = is_other ? reason : "the board could not be reached";
      if (end_.why != RunEnd::Why::stopped) end_ = {RunEnd::Why::error, reason, 0};
      return;
    }
    attempt(step, number, result);
    if (result.outcome == Outcome::passed || result.outcome == Outcome::interrupted) return;
  }
}

bool Runner::may_run(const Step& step) const {
  return !is_over_ && (skip_reason_.empty() || step.always);
}

std::vector<Result> Runner::run(const std::vector<Step>& steps) {
  const double start = clock_.now();
  std::vector<Result> results = run_all(steps);
  leave();
  end_.seconds = clock_.now() - start;
  journal_.run_ended(end_);
  for (const StepEnded& event : std::exchange(untold_, {})) listener_.on(event);
  return results;
}

// A stop counts as long as nothing is said of the verdict.
void Runner::leave() {
  if (session_ && settings_.quit) session_->leave(interrupt_.is_at_once() ? 0 : settings_.leave_timeout);
  give_up(false);
  if (interrupt_.is_raised()) stop();
}

// Of a step without an attempt nothing is stored before the run's end is.
void Runner::tell_end(const Step& step, const Result& result) {
  if (result.attempts == 0 || !untold_.empty()) {
    untold_.push_back({step, result});
  } else {
    listener_.on(StepEnded{step, result});
  }
}

std::vector<Result> Runner::run_all(const std::vector<Step>& steps) {
  std::vector<Result> results;
  for (const Step& step : steps) {
    Result result;
    result.index = results.size();
    result.step = step.name;
    result.code = step.code;
    result.parameter = step.parameter;
    // Behind a failure that stops the run, too: the stop must not reach what always runs.
    if (!is_over_ && interrupt_.is_raised()) stop();
    if (may_run(step)) {
      listener_.on(StepStarted{result.index, steps.size(), step});
      run_step(step, result);
      tell_end(step, result);
      if (result.outcome != Outcome::passed && step.stop_on_fail && skip_reason_.empty()) {
        skip_reason_ = "an earlier test did not pass";
      }
    } else {
      result.description = skip_reason_;
    }
    results.push_back(std::move(result));
  }
  return results;
}

}  // namespace t1station
