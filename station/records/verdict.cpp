#include "station/records/verdict.h"

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>

#include "station/plan/measure.h"
#include "station/plan/plan_file.h"
#include "station/records/loading.h"
#include "station/text/sha256.h"

namespace t1station {
namespace {

// The attempts at one step, in the order of their numbers.
using Attempts = std::vector<const StoredAttempt*>;

Attempts attempts_at(const StoredRun& run, std::size_t step) {
  Attempts found;
  for (const StoredAttempt& attempt : run.attempts) {
    if (attempt.step_index == static_cast<std::int64_t>(step)) found.push_back(&attempt);
  }
  std::stable_sort(found.begin(), found.end(), [](const StoredAttempt* one, const StoredAttempt* other) {
    return one->number < other->number;
  });
  return found;
}

std::string named(const std::string& name) {
  return "step " + name + ": ";
}

// Nothing when all connections were greeted by one build line, which is the plan's.
std::optional<std::string> trouble_with_builds(const StoredRun& run, const Plan& plan) {
  for (const StoredConnection& connection : run.connections) {
    if (connection.build != run.connections.front().build) {
      return "the board's build changed from \"" + run.connections.front().build + "\" to \"" +
             connection.build + "\"";
    }
    if (plan.build && !plan.build->matches(connection.build)) {
      return "the board's build \"" + connection.build + "\" is not one of the plan's";
    }
  }
  return std::nullopt;
}

bool is_of_this_run(const StoredAttempt& attempt, const StoredRun& run) {
  return std::any_of(run.connections.begin(), run.connections.end(), [&](const StoredConnection& connection) {
    return attempt.connection_id == connection.id;
  });
}

// Nothing when the measurement is there, once, and inside the plan's limits.
std::optional<std::string> trouble_with_measure(const StoredAttempt& attempt, const Measure& measure) {
  const StoredMeasurement* found = nullptr;
  for (const StoredMeasurement& measurement : attempt.measurements) {
    if (measurement.name != measure.name) continue;
    if (found) return measure.name + " was stored twice";
    found = &measurement;
  }
  if (!found) return measure.name + " was not measured";
  if (!found->value || found->outcome != "passed") return measure.name + " is " + found->outcome;
  const bool is_inside =
      (!measure.low || *found->value >= *measure.low) && (!measure.high || *found->value <= *measure.high);
  return is_inside ? std::nullopt : std::optional(measure.name + " is outside the plan's limits");
}

// Nothing when an attempt that is stored as passed was one at this step, in this run, with all that it needs.
std::optional<std::string> doubt_about(const StoredAttempt& attempt, const StoredRun& run, const Step& step) {
  if (attempt.step != step.name) return "it was stored as step " + attempt.step;
  if (attempt.code != step.code) return "another test was asked for";
  const std::optional<std::int64_t> parameter =
      step.parameter ? std::optional<std::int64_t>(*step.parameter) : std::nullopt;
  if (attempt.parameter != parameter) return "another parameter was asked for";
  if (!attempt.ended || attempt.request.empty() || !attempt.reply) return "no request and reply are stored";
  if (!is_of_this_run(attempt, run)) return "it came over no connection of this run";
  if (step.confirm && attempt.answer != "yes") return "nobody answered yes";
  if (attempt.measurements.size() != step.measures.size()) return "its measurements are not the plan's";
  for (const Measure& measure : step.measures) {
    if (auto trouble = trouble_with_measure(attempt, measure)) return trouble;
  }
  return std::nullopt;
}

// Nothing when the attempts are numbered 1, 2, 3 ..., no more than the plan allows, all but the last not
// passed.
std::optional<std::string> trouble_with_numbers(const Attempts& attempts, const Step& step) {
  if (attempts.size() > static_cast<std::size_t>(step.attempts)) return "more attempts than the plan allows";
  for (std::size_t i = 0; i < attempts.size(); ++i) {
    if (attempts[i]->number != static_cast<std::int64_t>(i + 1)) return "an attempt is missing";
    if (i + 1 < attempts.size() && attempts[i]->outcome == "passed") return "it was tried again after a pass";
  }
  return std::nullopt;
}

Measurement measured(const StoredMeasurement& stored) {
  return {stored.name, stored.value, stored.unit.value_or(""), stored.low, stored.high, stored.outcome};
}

std::string words_of(const StoredAttempt& attempt, std::size_t tries) {
  std::string words = attempt.outcome ? *attempt.outcome : "not ended";
  if (words == "timed_out") words = "no reply in time";
  for (const StoredMeasurement& measurement : attempt.measurements) {
    const std::string trouble = trouble_with(measured(measurement));
    if (!trouble.empty()) words += ", " + trouble;
  }
  const bool says_so = attempt.description && attempt.description->find(kAnsweredNo) != std::string::npos;
  if (attempt.answer == "no" && !says_so) words += ", answered no";
  if (tries > 1) words += " (attempt " + std::to_string(tries) + ")";
  return attempt.description ? words + ": " + *attempt.description : words;
}

/// What is found on the way through the steps.
struct Troubles {
  std::string error, failure;  // the first of each; empty: none
};

void note(std::string& place, const std::string& text) {
  if (place.empty()) place = text;
}

void look_at_step(const StoredRun& run, const Plan& plan, std::size_t index, Troubles& findings) {
  const Step& step = plan.steps[index];
  const Attempts attempts = attempts_at(run, index);
  if (attempts.empty()) return;
  const StoredAttempt& last = *attempts.back();
  if (last.outcome == "failed")
    return note(findings.failure, named(step.name) + words_of(last, attempts.size()));
  if (last.outcome != "passed")
    return note(findings.error, named(step.name) + words_of(last, attempts.size()));
  std::optional<std::string> trouble = trouble_with_numbers(attempts, step);
  if (!trouble) trouble = doubt_about(last, run, step);
  if (trouble) note(findings.error, named(step.name) + "its pass does not count: " + *trouble);
}

// The last resort before a pass: every step was tried, and nothing else was.
std::optional<std::string> trouble_with_steps(const StoredRun& run, const Plan& plan) {
  if (run.connections.empty()) return "no connection is stored";
  for (std::size_t index = 0; index < plan.steps.size(); ++index) {
    if (attempts_at(run, index).empty()) return named(plan.steps[index].name) + "never tried";
  }
  for (const StoredAttempt& attempt : run.attempts) {
    if (attempt.step_index < 0 || attempt.step_index >= static_cast<std::int64_t>(plan.steps.size())) {
      return named(attempt.step) + "not in the plan";
    }
  }
  return std::nullopt;
}

bool has_stopped_attempt(const StoredRun& run) {
  return std::any_of(run.attempts.begin(), run.attempts.end(),
                     [](const StoredAttempt& attempt) { return attempt.outcome == "stopped"; });
}

/// What a plan's text says. Reading it takes longer than all else of a verdict, and many runs have one plan:
/// the last ones are kept, by their whole text.
std::shared_ptr<const Plan> parsed(const std::string& text) {
  constexpr std::size_t kKept = 64;
  static std::mutex mutex;
  static std::map<std::string, std::shared_ptr<const Plan>, std::less<>> kept;
  const std::lock_guard lock(mutex);
  const auto known = kept.find(text);
  if (known != kept.end()) return known->second;
  auto plan = std::make_shared<const Plan>(parse_plan("the stored plan", text));
  if (kept.size() == kKept) kept.clear();
  return kept.emplace(text, std::move(plan)).first->second;
}

StoredVerdict verdict_of(Database& database, const StoredRun& run, const RunEnd& end) {
  if (end.why == RunEnd::Why::stopped || has_stopped_attempt(run))
    return {Verdict::stopped, "stopped by a person"};
  if (end.why == RunEnd::Why::error) return {Verdict::error, "the run could not go on"};
  std::string trouble;
  const std::shared_ptr<const Plan> plan = stored_plan(database, run.plan_id, trouble);
  return plan ? verdict_by_plan(run, *plan) : StoredVerdict{Verdict::error, trouble};
}

}  // namespace

bool was_retried(const StoredRun& run) {
  return std::any_of(run.attempts.begin(), run.attempts.end(),
                     [](const StoredAttempt& attempt) { return attempt.number > 1; });
}

std::shared_ptr<const Plan> stored_plan(Database& database, std::string_view id, std::string& trouble) {
  Statement row(database, "SELECT text FROM plan WHERE id = ?");
  row.bind(id).step();
  return plan_of_text(row.text(0), id, trouble);
}

std::shared_ptr<const Plan> plan_of_text(const std::string& text, std::string_view id, std::string& trouble) {
  if (sha256_hex(text) != id) {
    trouble = "the stored plan is not the one that it was";
    return nullptr;
  }
  try {
    return parsed(text);
  } catch (const BadPlan& bad) {
    trouble = bad.lines().empty() ? "the stored plan is bad" : bad.lines().front();
    return nullptr;
  }
}

StoredVerdict verdict_by_plan(const StoredRun& run, const Plan& plan) {
  Troubles findings;
  if (auto trouble = trouble_with_builds(run, plan)) findings.error = *trouble;
  for (std::size_t index = 0; index < plan.steps.size(); ++index) look_at_step(run, plan, index, findings);
  if (!findings.error.empty()) return {Verdict::error, findings.error};
  if (!findings.failure.empty()) return {Verdict::failed, findings.failure};
  if (auto trouble = trouble_with_steps(run, plan)) return {Verdict::error, *trouble};
  return {Verdict::passed, {}};
}

StoredVerdict find_verdict(Database& database, std::string_view run, const RunEnd& end) {
  const std::optional<StoredRun> stored = load_run(database, run);
  if (!stored) return {Verdict::error, "nothing is stored of the run"};
  StoredVerdict verdict = verdict_of(database, *stored, end);
  if (!end.reason.empty() && verdict.verdict != Verdict::passed) verdict.reason = end.reason;
  verdict.retried = was_retried(*stored);
  return verdict;
}

}  // namespace t1station
