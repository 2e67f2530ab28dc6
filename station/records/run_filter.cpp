#include "station/records/run_filter.h"

#include <algorithm>
#include <iterator>

#include "station/records/loading.h"
#include "station/text/sha256.h"

namespace t1station {
namespace {

/// Another production run of the same unit under the same plan's name.
constexpr std::string_view kOtherRun =
    "SELECT 1 FROM run AS other JOIN plan AS its ON its.id = other.plan_id WHERE other.serial = run.serial "
    "AND other.kind = 'production' AND its.name = plan.name AND (other.started, other.id) ";

/// A condition behind the others.
class Asking {
 public:
  explicit Asking(std::string select) : query_{std::move(select), {}} {}

  void add(std::string_view condition) {
    query_.sql += (has_condition_ ? "AND " : "WHERE ") + std::string(condition) + " ";
    has_condition_ = true;
  }
  void add(std::string_view condition, const std::optional<std::string>& value) {
    if (!value) return;
    add(condition);
    bind(*value);
  }
  /// A value for the next question mark.
  void bind(Value value) { query_.values.push_back(std::move(value)); }
  void append(const std::string& end) { query_.sql += end; }
  RunQuery finish() { return std::move(query_); }

 private:
  RunQuery query_;
  bool has_condition_ = false;
};

// So many question marks.
std::string places(std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) text += i == 0 ? "?" : ", ?";
  return text;
}

void add_verdicts(Asking& asking, const std::vector<std::string>& verdicts) {
  if (verdicts.empty()) return;
  std::vector<std::string> ended;
  std::copy_if(verdicts.begin(), verdicts.end(), std::back_inserter(ended),
               [](const std::string& verdict) { return verdict != "open"; });
  const bool has_open = ended.size() < verdicts.size();
  asking.add("(run.verdict IN (" + places(ended.size()) + ")" +
             (has_open ? " OR run.verdict IS NULL)" : ")"));
  for (const std::string& verdict : ended) asking.bind(verdict);
}

void add_one_of(Asking& asking, const std::string& column, const std::vector<std::string>& wanted) {
  if (wanted.empty()) return;
  asking.add(column + " IN (" + places(wanted.size()) + ")");
  for (const std::string& one : wanted) asking.bind(one);
}

// instr() knows no patterns: what somebody types stands for itself.
void add_unit(Asking& asking, const RunFilter& filter) {
  asking.add("run.serial = ?", filter.serial);
  add_one_of(asking, "run.serial", filter.serials);
  asking.add("instr(run.serial, ?) = 1", filter.batch);
  asking.add("instr(upper(run.serial), upper(?)) > 0", filter.serial_part);
  if (filter.is_first || filter.is_last) asking.add("run.kind = 'production'");
  if (filter.is_first) asking.add("NOT EXISTS (" + std::string(kOtherRun) + "< (run.started, run.id))");
  if (!filter.is_last) return;
  asking.add("NOT EXISTS (" + std::string(kOtherRun) + "> (run.started, run.id)" +
             (filter.to ? " AND other.started < ?)" : ")"));
  if (filter.to) asking.bind(*filter.to);
}

void add_end(Asking& asking, const RunFilter& filter) {
  if (filter.retried) asking.add(*filter.retried ? "run.retried = 1" : "run.retried = 0");
  if (!filter.at_once) return;
  asking.add(*filter.at_once ? "run.verdict = 'passed' AND run.retried = 0"
                             : "(run.verdict <> 'passed' OR run.retried = 1)");
}

void add_step(Asking& asking, const StepFilter& step) {
  constexpr std::string_view kIsLast =
      " AND attempt.outcome IS NOT 'passed' AND NOT EXISTS (SELECT 1 FROM attempt AS later WHERE "
      "later.run_id = "
      "run.id AND later.step_index = attempt.step_index AND later.number > attempt.number)";
  std::string condition =
      "run.verdict IS NOT NULL AND EXISTS (SELECT 1 FROM attempt WHERE attempt.run_id = run.id AND "
      "attempt.step "
      "= ?";
  asking.bind(step.name);
  if (step.attempt == "not_passed") {
    condition += " AND attempt.outcome IS NOT 'passed'";
  } else if (step.attempt == "repeated") {
    condition += " AND attempt.number > 1";
  } else if (step.attempt == "lost") {
    condition += kIsLast;
  } else if (step.attempt == "silent") {
    condition += std::string(kIsLast) + " AND attempt.description IS NULL";
  } else if (!step.attempt.empty()) {
    condition += " AND attempt.outcome = ?";
    asking.bind(step.attempt);
  }
  if (step.words) {
    condition += " AND words_id(attempt.description) = ?";
    asking.bind(*step.words);
  }
  if (step.lasted) {
    condition += " AND attempt.seconds >= ?";
    asking.bind(*step.lasted);
  }
  asking.add(condition + ")");
}

void add_measured(Asking& asking, const std::string& step, const MeasuredFilter& measured) {
  std::string condition =
      "EXISTS (SELECT 1 FROM attempt JOIN measurement AS one ON one.attempt_id = attempt.id WHERE "
      "attempt.run_id "
      "= run.id AND attempt.step = ? AND one.name = ? AND one.unit IS ? AND one.low IS ? AND one.high IS ?";
  for (Value value : {Value(step), Value(measured.name), text_or_null(measured.unit),
                      value_or_null(measured.low), value_or_null(measured.high)}) {
    asking.bind(std::move(value));
  }
  if (measured.outcome == "found") {
    condition += " AND abs(one.value) < 9e999";  // what is no number is no value either
  } else if (measured.outcome == "outside") {
    condition += " AND one.outcome <> 'passed'";
  } else if (!measured.outcome.empty()) {
    condition += " AND one.outcome = ?";
    asking.bind(measured.outcome);
  }
  for (const auto& [comparison, value] :
       {std::pair(" AND one.value >= ?", measured.at_least), std::pair(" AND one.value < ?", measured.below),
        std::pair(" AND one.value <= ?", measured.at_most)}) {
    if (!value) continue;
    condition += comparison;
    asking.bind(*value);
  }
  asking.add(condition + ")");
}

}  // namespace

std::string words_id(std::string_view kind) {
  return sha256_hex(kind).substr(0, 16);
}

RunQuery query_of(const RunFilter& filter) {
  Asking asking{std::string(select_runs())};
  asking.add("run.id = ?", filter.id);
  add_one_of(asking, "run.id", filter.ids);
  add_unit(asking, filter);
  add_verdicts(asking, filter.verdicts);
  asking.add("plan.name = ?", filter.plan);
  asking.add("run.kind = ?", filter.kind);
  asking.add("run.station = ?", filter.station);
  asking.add(filter.slot == "" ? "run.slot IS nullif(?, '')" : "run.slot = ?", filter.slot);
  asking.add("run.started >= ?", filter.from);
  asking.add("run.started < ?", filter.to);
  add_end(asking, filter);
  if (filter.step) add_step(asking, *filter.step);
  if (filter.step && filter.measured) add_measured(asking, filter.step->name, *filter.measured);
  asking.add("(run.started, run.id) < (SELECT started, id FROM run WHERE id = ?)", filter.before);
  asking.append(filter.newest_first ? "ORDER BY run.started DESC, run.id DESC" : "ORDER BY run.id");
  if (filter.limit) asking.append(" LIMIT " + std::to_string(*filter.limit));
  return asking.finish();
}

}  // namespace t1station
