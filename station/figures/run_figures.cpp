#include "station/figures/run_figures.h"

#include <iterator>
#include <map>
#include <unordered_map>

#include "station/figures/fisher.h"
#include "station/figures/window_query.h"

namespace t1station {
namespace {

constexpr double kSure = 0.01;
constexpr std::int64_t kFewestRuns = 20;  // of a slot that is marked

/// A run as far as the figures of this file need it.
struct RunRow {
  std::int64_t place = 0;  ///< from the newest one, 1
  std::string id, verdict;
  bool is_retried = false;
};

/// Counts runs that come in no order.
class Unsorted {
 public:
  void add(const RunRow& run) {
    ++count_;
    newest_.emplace(run.place, run.id);
    if (newest_.size() > FoundRuns::kMostIds) newest_.erase(std::prev(newest_.end()));
  }
  FoundRuns sorted() const {
    FoundRuns runs;
    for (const auto& [place, id] : newest_) runs.add(id);
    runs.count = count_;
    return runs;
  }

 private:
  std::int64_t count_ = 0;
  std::map<std::int64_t, std::string> newest_;
};

/// The first and the last run of a unit in the window.
struct UnitRuns {
  RunRow first, last;
  bool has_earlier = false;  ///< before the window
};

/// Columns of the SELECT, in its order.
enum Column { kId, kSerial, kPlan, kIsCheck, kStation, kSlot, kVerdict, kIsRetried, kHasEarlier };

WindowQuery runs_query(const FigureWindow& window) {
  // Without a beginning nothing lies before it.
  const std::string has_earlier =
      window.from
          ? "CASE WHEN EXISTS (SELECT 1 FROM run AS earlier JOIN plan AS its ON its.id = earlier.plan_id "
            "WHERE earlier.serial = run.serial AND earlier.kind = 'production' "
            "AND earlier.started < $1 AND its.name = plan.name) THEN 1 ELSE 0 END"
          : "0";
  return {
      window,
      "run.id, run.serial, plan.name, CASE run.kind WHEN 'check' THEN 1 ELSE 0 END, run.station, run.slot, "
      "run.verdict, run.retried, " +
          has_earlier,
      "", "run.kind IN ('production', 'check')", ""};
}

/// Counts runs, newest first.
class Counting {
 public:
  explicit Counting(Figures& figures) : figures_(figures) {}

  void add(const FigureRow& row) {
    if (row.integer(kIsCheck) != 0) {
      ++figures_.check_runs;
      return;
    }
    const RunRow run{++figures_.runs, std::string(row.text(kId)), std::string(row.text(kVerdict)),
                     row.integer(kIsRetried) != 0};
    figures_.verdicts[run.verdict].add(run.id);
    if (run.is_retried) figures_.retried.add(run.id);
    if (!run.verdict.empty()) add_to_slot(row, run);
    std::string unit(row.text(kPlan));
    unit.append(1, '\0').append(row.text(kSerial));
    const auto [found, is_new] = units_.try_emplace(std::move(unit), UnitRuns{run, run});
    if (!is_new) found->second.first = run;
    found->second.has_earlier = row.integer(kHasEarlier) != 0;
  }

  void finish() {
    figures_.units = static_cast<std::int64_t>(units_.size());
    for (const auto& [name, unit] : units_) add_unit(unit);
    figures_.first_lost = first_lost_.sorted();
    figures_.last_not_passed = last_not_passed_.sorted();
    mark_slots();
  }

 private:
  using SlotName = std::pair<std::string, std::optional<std::string>>;

  void add_to_slot(const FigureRow& row, const RunRow& run) {
    SlotName name(row.text(kStation), std::nullopt);
    if (!row.is_null(kSlot)) name.second = row.text(kSlot);
    SlotFigures& slot = slots_[name];
    ++slot.runs;
    if (run.verdict != "passed") slot.not_passed.add(run.id);
  }

  void add_unit(const UnitRuns& unit) {
    const bool is_last_passed = unit.last.verdict == "passed";
    ++figures_.final.all;
    if (is_last_passed) ++figures_.final.part;
    if (!is_last_passed) last_not_passed_.add(unit.last);
    if (unit.has_earlier || unit.first.verdict.empty()) return;
    const bool is_cut_off = unit.first.verdict == "stopped" || unit.first.verdict == "interrupted";
    const bool is_good = unit.first.verdict == "passed" && !unit.first.is_retried;
    ++figures_.first_pass_strict.all;
    if (!is_cut_off) ++figures_.first_pass.all;
    if (!is_good) return first_lost_.add(unit.first);
    ++figures_.first_pass.part;
    ++figures_.first_pass_strict.part;
  }

  void mark_slots() {
    std::int64_t runs = 0, not_passed = 0;
    for (const auto& [name, slot] : slots_) {
      runs += slot.runs;
      not_passed += slot.not_passed.count;
    }
    for (auto& [name, slot] : slots_) {
      slot.station = name.first;
      slot.slot = name.second;
      slot.others = {not_passed - slot.not_passed.count, runs - slot.runs};
      if (slot.others.all > 0) {
        slot.p = fisher_exact({slot.not_passed.count, slot.runs - slot.not_passed.count, slot.others.part,
                               slot.others.all - slot.others.part});
        slot.is_marked = *slot.p < kSure && slot.runs >= kFewestRuns;
      }
      figures_.slots.push_back(slot);
    }
  }

  Figures& figures_;
  std::unordered_map<std::string, UnitRuns> units_;
  Unsorted first_lost_, last_not_passed_;
  std::map<SlotName, SlotFigures> slots_;
};

}  // namespace

void find_run_figures(FigureDatabase& database, Figures& figures) {
  const WindowQuery query = runs_query(figures.window);
  Counting counting(figures);
  database.rows(query.sql, query.parameters, [&counting](const FigureRow& row) { counting.add(row); });
  counting.finish();
}

}  // namespace t1station
