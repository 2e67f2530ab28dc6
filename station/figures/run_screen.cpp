#include "station/figures/run_screen.h"

#include <algorithm>

namespace t1station {
namespace {

bool is_wanted_try(const StepFilter& step, const Digest& day, const Digest::Try& tried) {
  if (day.text(tried.step) != step.name) return false;
  const std::string_view outcome = day.text(tried.outcome);
  if (step.attempt == "repeated") return tried.number > 1;
  if (step.attempt == "not_passed" || step.attempt == "lost" || step.attempt == "silent")
    return outcome != "passed";
  return step.attempt.empty() || outcome == step.attempt;
}

bool is_limit(bool has_limit, double limit, const std::optional<double>& wanted) {
  return has_limit == wanted.has_value() && (!has_limit || limit == *wanted);
}

bool is_wanted_kind(const RunFilter& filter, const Digest& day, const Digest::Kind& kind) {
  const MeasuredFilter& measured = *filter.measured;
  if (day.text(kind.step) != filter.step->name || day.text(kind.name) != measured.name ||
      day.text(kind.unit) != measured.unit ||
      !is_limit((kind.limits & Digest::kLow) != 0, kind.low, measured.low) ||
      !is_limit((kind.limits & Digest::kHigh) != 0, kind.high, measured.high))
    return false;
  if (measured.outcome.empty() || measured.outcome == "found") return true;
  const std::string_view outcome = day.text(kind.outcome);
  return measured.outcome == "outside" ? outcome != "passed" : outcome == measured.outcome;
}

bool has_value_between(const MeasuredFilter& measured, double value) {
  return (!measured.at_least || value >= *measured.at_least) &&
         (!measured.below || value < *measured.below) && (!measured.at_most || value <= *measured.at_most);
}

}  // namespace

bool RunScreen::helps(const RunFilter& filter) {
  if (filter.id || filter.serial || !filter.serials.empty() || filter.serial_part)
    return false;  // by indices
  return filter.batch || !filter.verdicts.empty() || filter.plan || filter.kind || filter.station ||
         filter.slot || filter.is_first || filter.retried || filter.at_once || filter.step;
}

void RunScreen::open(const Digest& day) {
  day_ = &day;
  tries_.clear();
  kinds_.clear();
  if (!filter_.step) return;
  for (const Digest::Try& tried : day.tries) tries_.push_back(is_wanted_try(*filter_.step, day, tried));
  if (!filter_.measured) return;
  for (const Digest::Kind& kind : day.kinds) kinds_.push_back(is_wanted_kind(filter_, day, kind));
}

bool RunScreen::lets_pass(const Digest::Run& run) const {
  const auto is = [this](const std::optional<std::string>& wanted, Digest::Text text) {
    return !wanted || day_->text(text) == *wanted;
  };
  const bool is_check = (run.flags & Digest::kCheck) != 0, is_retried = (run.flags & Digest::kRetried) != 0;
  if (filter_.batch && !day_->text(run.serial).starts_with(*filter_.batch)) return false;
  if (!is(filter_.plan, run.plan) || !is(filter_.station, run.station) || !is(filter_.slot, run.slot))
    return false;
  if (filter_.kind && (*filter_.kind == "check") != is_check) return false;
  if (filter_.is_first && (run.flags & Digest::kFirst) == 0) return false;
  if (filter_.retried && *filter_.retried != is_retried) return false;
  if (filter_.at_once && *filter_.at_once != (day_->text(run.verdict) == "passed" && !is_retried))
    return false;
  if (!has_verdict(run)) return false;
  // A day has the attempts of production runs only.
  return !filter_.step || is_check || (has_step(run) && (!filter_.measured || has_measured(run)));
}

bool RunScreen::has_verdict(const Digest::Run& run) const {
  if (filter_.verdicts.empty()) return true;
  const std::string_view verdict = run.verdict == Digest::kNone ? "open" : day_->text(run.verdict);
  return std::find(filter_.verdicts.begin(), filter_.verdicts.end(), verdict) != filter_.verdicts.end();
}

bool RunScreen::has_step(const Digest::Run& run) const {
  const auto begin = day_->attempts.begin() + run.first_attempt;
  return std::any_of(begin, begin + run.attempts, [this](const Digest::Attempt& attempt) {
    return tries_[attempt.tried] && (!filter_.step->lasted || attempt.seconds >= *filter_.step->lasted);
  });
}

bool RunScreen::has_measured(const Digest::Run& run) const {
  for (std::size_t i = run.first_measured; i < run.first_measured + run.measurements; ++i) {
    if (kinds_[day_->measured[i]] && has_value_between(*filter_.measured, day_->values[i])) return true;
  }
  return false;
}

}  // namespace t1station
