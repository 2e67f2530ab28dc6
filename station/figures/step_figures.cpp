#include "station/figures/step_figures.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "station/figures/sample.h"
#include "station/text/word_kind.h"

namespace t1station {
namespace {

constexpr std::size_t kMostExamples = 3;
constexpr double kMostOfThem = 0.95;

void add_numbers(std::vector<std::pair<double, double>>& ranges, const std::vector<double>& numbers) {
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i == ranges.size()) ranges.emplace_back(numbers[i], numbers[i]);
    ranges[i].first = std::min(ranges[i].first, numbers[i]);
    ranges[i].second = std::max(ranges[i].second, numbers[i]);
  }
}

void add_example(std::vector<std::string>& examples, const std::string& words) {
  if (examples.size() == kMostExamples) return;
  if (std::find(examples.begin(), examples.end(), words) == examples.end()) examples.push_back(words);
}

}  // namespace

void StepCounting::open(const Digest& digest) {
  digest_ = &digest;
  places_.clear();
  for (const Digest::Try& tried : digest.tries) {
    const std::pair<std::string, std::string> name(digest.text(tried.plan), digest.text(tried.step));
    const auto [found, is_new] = steps_.try_emplace(name);
    Step& step = found->second;
    if (is_new) {
      step.figures.plan = name.first;
      step.figures.step = name.second;
      step.figures.index = std::numeric_limits<std::int64_t>::max();
    }
    const std::string outcome(digest.text(tried.outcome));
    places_.push_back({&step, &step.figures.outcomes[outcome], outcome == "passed", outcome == "failed"});
  }
}

void StepCounting::add(const Digest::Run& run) {
  const std::string_view id = digest_->text(run.id);
  const std::size_t end = run.first_attempt + run.attempts;
  for (std::size_t begin = run.first_attempt; begin < end;) {
    const Digest::Try& first = digest_->tries[digest_->attempts[begin].tried];
    Step& step = *places_[digest_->attempts[begin].tried].step;
    step.figures.index = std::min<std::int64_t>(step.figures.index, first.index);
    std::size_t next = begin;
    bool is_passed = true, are_all_passed = true, has_failed = false;
    double longest = -1;
    for (; next < end && digest_->tries[digest_->attempts[next].tried].index == first.index; ++next) {
      const Digest::Attempt& attempt = digest_->attempts[next];
      const Place& place = places_[attempt.tried];
      ++*place.outcomes;
      is_passed = place.is_passed;
      are_all_passed = are_all_passed && is_passed;
      has_failed = has_failed || place.is_failed;
      if (std::isnan(attempt.seconds)) continue;
      step.seconds.push_back(attempt.seconds);
      longest = std::max(longest, attempt.seconds);
    }
    if (longest >= 0) step.longest.push_back(longest);
    ++step.figures.runs;
    step.figures.attempts += static_cast<std::int64_t>(next - begin);
    if (next - begin > 1) step.figures.retried.add(id);
    if (has_failed) step.figures.failed.add(id);
    if (!are_all_passed) step.figures.not_passed.add(id);
    if (!is_passed) add_failure(digest_->attempts[next - 1], id);
    begin = next;
  }
}

void StepCounting::add_failure(const Digest::Attempt& last, std::string_view run) {
  const Digest::Try& tried = digest_->tries[last.tried];
  FailureName name(digest_->text(tried.plan), digest_->text(tried.step), std::nullopt);
  WordKind kind;
  const std::string words(digest_->text(last.words));
  if (last.words != Digest::kNone) {
    kind = word_kind(words);
    std::get<2>(name) = kind.words;
  }
  const auto [found, is_new] = failures_.try_emplace(name);
  FailureKind& failure = found->second;
  if (is_new) std::tie(failure.plan, failure.step, failure.words) = name;
  failure.runs.add(run);
  ++failure.outcomes[std::string(digest_->text(tried.outcome))];
  add_numbers(failure.numbers, kind.numbers);
  if (last.words != Digest::kNone) add_example(failure.examples, words);
}

void StepCounting::finish() {
  for (auto& [name, step] : steps_) {
    if (step.figures.runs == 0) continue;  // all its runs lie outside the window
    std::erase_if(step.figures.outcomes, [](const auto& outcome) { return outcome.second == 0; });
    if (!step.seconds.empty()) {
      step.figures.median = quantile(step.seconds, 0.5);
      step.figures.percentile_95 = quantile(step.seconds, kMostOfThem);
      const auto runs_from = [&step](double seconds) {
        return std::count_if(step.longest.begin(), step.longest.end(),
                             [seconds](double longest) { return longest >= seconds; });
      };
      step.figures.median_runs = runs_from(*step.figures.median);
      step.figures.percentile_95_runs = runs_from(*step.figures.percentile_95);
    }
    figures_.steps.push_back(std::move(step.figures));
  }
  std::sort(figures_.steps.begin(), figures_.steps.end(), [](const StepFigures& a, const StepFigures& b) {
    return std::tie(a.plan, a.index, a.step) < std::tie(b.plan, b.index, b.step);
  });
  for (auto& [name, failure] : failures_) figures_.failures.push_back(std::move(failure));
  std::stable_sort(figures_.failures.begin(), figures_.failures.end(),
                   [](const FailureKind& a, const FailureKind& b) { return a.runs.count > b.runs.count; });
}

}  // namespace t1station
