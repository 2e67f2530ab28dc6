#include "station/figures/step_figures.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "station/figures/sample.h"
#include "station/figures/window_query.h"
#include "station/figures/word_kind.h"

namespace t1station {
namespace {

constexpr std::size_t kMostExamples = 3;
constexpr double kMostOfThem = 0.95;

/// Columns of the SELECT, in its order.
enum Column { kRun, kPlan, kStep, kIndex, kNumber, kOutcome, kSeconds, kWords };

WindowQuery attempts_query(const FigureWindow& window) {
  return {window,
          "run.id, plan.name, attempt.step, attempt.step_index, attempt.number, attempt.outcome, "
          "attempt.seconds, CASE attempt.outcome WHEN 'passed' THEN NULL ELSE attempt.description END",
          "JOIN attempt ON attempt.run_id = run.id", "run.kind = 'production' AND run.verdict IS NOT NULL",
          ", attempt.step_index, attempt.number"};
}

/// The attempts of one step in one run.
struct Tries {
  std::string run, plan, step;
  std::int64_t index = 0, count = 0;
  bool has_failed = false;  ///< or not passed for another reason, at least once
  std::string last_outcome;
  std::optional<std::string> last_words;
};

void add_numbers(std::vector<std::pair<double, double>>& ranges, const std::vector<double>& numbers) {
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i == ranges.size()) ranges.emplace_back(numbers[i], numbers[i]);
    ranges[i].first = std::min(ranges[i].first, numbers[i]);
    ranges[i].second = std::max(ranges[i].second, numbers[i]);
  }
}

/// Counts attempts, newest runs first, each step's in their order.
class Counting {
 public:
  explicit Counting(Figures& figures) : figures_(figures) {}

  void add(const FigureRow& row) {
    const bool is_same_step =
        row.integer(kIndex) == tries_.index && row.text(kRun) == tries_.run && tries_.count > 0;
    if (!is_same_step) {
      end_step();
      begin_step(row);
    }
    ++tries_.count;
    ++step_->figures.attempts;
    tries_.last_outcome = row.text(kOutcome);
    ++step_->figures.outcomes[tries_.last_outcome];
    if (tries_.last_outcome != "passed") tries_.has_failed = true;
    tries_.last_words.reset();
    if (!row.is_null(kWords)) tries_.last_words = row.text(kWords);
    if (!row.is_null(kSeconds)) step_->seconds.push_back(row.real(kSeconds));
  }

  void finish() {
    end_step();
    for (auto& [name, step] : steps_) {
      if (!step.seconds.empty()) {
        step.figures.median = quantile(step.seconds, 0.5);
        step.figures.percentile_95 = quantile(step.seconds, kMostOfThem);
      }
      figures_.steps.push_back(std::move(step.figures));
    }
    std::sort(figures_.steps.begin(), figures_.steps.end(), [](const StepFigures& a, const StepFigures& b) {
      return std::tie(a.plan, a.index, a.step) < std::tie(b.plan, b.index, b.step);
    });
    for (auto& [name, kind] : kinds_) figures_.failures.push_back(std::move(kind));
    std::stable_sort(figures_.failures.begin(), figures_.failures.end(),
                     [](const FailureKind& a, const FailureKind& b) { return a.runs.count > b.runs.count; });
  }

 private:
  struct Step {
    StepFigures figures;
    std::vector<double> seconds;
  };
  using KindName = std::tuple<std::string, std::string, std::optional<std::string>>;

  void begin_step(const FigureRow& row) {
    tries_ = {};
    tries_.run = row.text(kRun);
    tries_.plan = row.text(kPlan);
    tries_.step = row.text(kStep);
    tries_.index = row.integer(kIndex);
    const auto [found, is_new] = steps_.try_emplace({tries_.plan, tries_.step});
    step_ = &found->second;
    if (is_new) {
      step_->figures.plan = tries_.plan;
      step_->figures.step = tries_.step;
      step_->figures.index = tries_.index;
    }
    step_->figures.index = std::min(step_->figures.index, tries_.index);
  }

  void end_step() {
    if (tries_.count == 0) return;
    ++step_->figures.runs;
    if (tries_.count > 1) step_->figures.retried.add(tries_.run);
    if (tries_.has_failed) step_->figures.not_passed.add(tries_.run);
    if (tries_.last_outcome != "passed") add_failure();
  }

  void add_failure() {
    WordKind words;
    KindName name{tries_.plan, tries_.step, {}};
    if (tries_.last_words) {
      words = word_kind(*tries_.last_words);
      std::get<2>(name) = words.words;
    }
    const auto [found, is_new] = kinds_.try_emplace(name);
    FailureKind& kind = found->second;
    if (is_new) std::tie(kind.plan, kind.step, kind.words) = name;
    kind.runs.add(tries_.run);
    ++kind.outcomes[tries_.last_outcome];
    add_numbers(kind.numbers, words.numbers);
    const bool is_known = !tries_.last_words || std::find(kind.examples.begin(), kind.examples.end(),
                                                          *tries_.last_words) != kind.examples.end();
    if (!is_known && kind.examples.size() < kMostExamples) kind.examples.push_back(*tries_.last_words);
  }

  Figures& figures_;
  std::map<std::pair<std::string, std::string>, Step> steps_;
  std::map<KindName, FailureKind> kinds_;
  Tries tries_;
  Step* step_ = nullptr;
};

}  // namespace

void find_step_figures(FigureDatabase& database, Figures& figures) {
  const WindowQuery query = attempts_query(figures.window);
  Counting counting(figures);
  database.rows(query.sql, query.parameters, [&counting](const FigureRow& row) { counting.add(row); });
  counting.finish();
}

}  // namespace t1station
