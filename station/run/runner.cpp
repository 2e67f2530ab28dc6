// Tests in a row, and what to do about the connection when one of them goes wrong.
#include "station/run/runner.h"

#include "station/catalogue/codes.h"
#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

std::string build_line(const std::vector<ServiceMessage>& greeting) {
  for (const ServiceMessage& message : greeting) {
    for (const std::string& context : message.lines) {
      for (const std::string& line : lines_of(context)) {
        if (line.starts_with("BUILD:")) return line;
      }
    }
  }
  return {};
}

std::string timeout_text(const TestRequest& request) {
  return "no reply within " + whole_seconds_text(request.timeout) +
         " s: the board does not know this code, or the test hangs";
}

}  // namespace

void Runner::open() {
  if (session_) return;
  std::vector<ServiceMessage> greeting;
  try {
    link_ = opening_.open([&](Link& link, double seconds, const Tick& tick) {
      session_ = std::make_unique<Session>(link, clock_);
      greeting = session_->greet(seconds, tick);
    });
  } catch (const std::exception&) {
    give_up(false);
    is_unreachable_ = true;
    throw;
  }
  if (!was_greeted_) observer_.greeted(greeting);
  was_greeted_ = true;
  build_ = build_line(greeting);
  if (interrupt_.is_raised()) throw Interrupted();
}

void Runner::give_up(bool say_quit) {
  if (session_ && say_quit && settings_.quit) session_->leave(0);
  session_.reset();
  link_.reset();
}

void Runner::run_one(const TestRequest& request, Result& result) {
  double start = clock_.now();
  try {
    open();
    start = clock_.now();
    const Reply reply = session_->run(request, [this](double elapsed) { observer_.ticked(elapsed); });
    result.outcome = reply.passed ? Outcome::passed : Outcome::failed;
    result.test_name = reply.test_name;
    result.description = reply.description;
    // The board goes down behind this reply; nothing more is to be said on this connection.
    if (request.code == kRestartCode) give_up(false);
  } catch (const Interrupted&) {
    result.outcome = Outcome::interrupted;
    result.description = "interrupted by the operator";
  } catch (const TimedOut&) {
    result.outcome = Outcome::timed_out;
    result.description = timeout_text(request);
  } catch (const std::runtime_error& error) {
    result.outcome = interrupt_.is_raised() ? Outcome::interrupted : Outcome::broken;
    result.description = clean_text(error.what());
  }
  result.seconds = clock_.now() - start;
  const bool has_reply = result.outcome == Outcome::passed || result.outcome == Outcome::failed;
  if (!has_reply) give_up(true);
}

std::vector<Result> Runner::run(const std::vector<TestRequest>& requests) {
  std::vector<Result> results;
  std::string reason;
  for (const TestRequest& request : requests) {
    Result result;
    result.code = request.code;
    result.parameter = request.parameter;
    if (reason.empty() && interrupt_.is_raised()) reason = "interrupted by the operator";
    if (!reason.empty()) {
      result.description = reason;
      results.push_back(std::move(result));
      continue;
    }
    observer_.started(results.size(), requests.size(), request.code);
    run_one(request, result);
    observer_.finished(result);
    if (result.outcome == Outcome::interrupted) {
      reason = result.description;
    } else if (is_unreachable_) {
      reason = "the board could not be reached";
    } else if (result.outcome != Outcome::passed && !settings_.keep_going) {
      reason = "an earlier test did not pass";
    }
    results.push_back(std::move(result));
  }
  if (session_ && settings_.quit) session_->leave(settings_.leave_timeout);
  give_up(false);
  return results;
}

}  // namespace t1station
