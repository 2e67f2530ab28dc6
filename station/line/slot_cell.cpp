#include "station/line/slot_cell.h"

#include <map>

namespace t1station {
namespace {

StepFailure failure_of(const StoredAttempt& attempt, const PlanSet& plans, const StoredRun& run) {
  StepFailure failure;
  failure.step = attempt.step;
  failure.outcome = attempt.outcome.value_or("");
  failure.description = attempt.description.value_or("");
  failure.attempt = failure.attempts = static_cast<int>(attempt.number);
  for (const std::shared_ptr<const Plan>& plan : plans.plans) {
    const auto index = static_cast<std::size_t>(attempt.step_index);
    if (plan->id == run.plan_id && index < plan->steps.size()) failure.attempts = plan->steps[index].attempts;
  }
  for (const StoredMeasurement& stored : attempt.measurements) {
    failure.measurements.push_back(
        {stored.name, stored.value, stored.unit.value_or(""), stored.low, stored.high, stored.outcome});
  }
  return failure;
}

}  // namespace

bool is_busy(const SlotCell& cell) {
  return cell.running || !cell.taken_by.empty();
}

bool waits_for_acknowledgement(const SlotCell& cell) {
  return !cell.running && cell.shown && cell.shown->run.verdict != Verdict::passed;
}

bool shows_a_pass(const SlotCell& cell) {
  return !cell.running && cell.shown && cell.shown->run.verdict == Verdict::passed;
}

std::string lock_of(const SlotCell& cell) {
  return cell.lock_reason.empty() ? cell.plans.trouble_text() : cell.lock_reason;
}

ShownRun shown_again(const StoredRun& run, const PlanSet& plans) {
  ShownRun shown;
  RunView& view = shown.run;
  view.id = run.id;
  view.serial = run.serial;
  view.started = run.started;
  view.seconds = run.seconds;
  view.verdict = verdict_named(run.verdict.value_or("")).value_or(Verdict::error);
  view.retried = run.retried == 1;
  view.reason = run.reason.value_or("");
  std::map<std::int64_t, const StoredAttempt*> last;  // by step
  for (const StoredAttempt& attempt : run.attempts) last[attempt.step_index] = &attempt;
  for (const auto& [index, attempt] : last) {
    view.step = attempt->step;
    view.index = static_cast<std::size_t>(index);
    view.total = view.index + 1;
    view.attempt = static_cast<int>(attempt->number);
    if (attempt->outcome != "passed") view.failures.push_back(failure_of(*attempt, plans, run));
  }
  for (const std::shared_ptr<const Plan>& plan : plans.plans) {
    if (plan->id != run.plan_id) continue;
    view.total = plan->steps.size();
    if (view.step.empty()) view.step = plan->steps.front().name;  // the board never came
  }
  shown.plan_name = run.plan_name;
  shown.plan_version = run.plan_version;
  return shown;
}

}  // namespace t1station
