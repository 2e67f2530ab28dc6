#include "station/figures/run_figures.h"

#include <algorithm>

#include "station/figures/fisher.h"

namespace t1station {
void RunCounting::add(const Digest& digest, const Digest::Run& run) {
  if ((run.flags & Digest::kCheck) != 0) {
    ++figures_.check_runs;
    return;
  }
  const std::string_view id = digest.text(run.id), verdict = digest.text(run.verdict);
  const bool is_retried = (run.flags & Digest::kRetried) != 0;
  ++figures_.runs;
  figures_.verdicts[std::string(verdict)].add(id);
  if (is_retried) figures_.retried.add(id);
  if (!verdict.empty()) add_to_slot(digest, run);
  if ((run.flags & Digest::kFirst) != 0) add_first(digest, run);
  if (!is_new_unit(digest, run)) return;
  batches_.add_unit(digest.text(run.serial), verdict == "passed");
  ++figures_.final.all;
  if (verdict == "passed") {
    ++figures_.final.part;
  } else {
    figures_.last_not_passed.add(id);
  }
}

void RunCounting::add_to_slot(const Digest& digest, const Digest::Run& run) {
  std::pair<std::string, std::optional<std::string>> name(digest.text(run.station), std::nullopt);
  if (run.slot != Digest::kNone) name.second = digest.text(run.slot);
  SlotFigures& slot = slots_[name];
  ++slot.runs;
  if (digest.text(run.verdict) != "passed") slot.not_passed.add(digest.text(run.id));
}

bool RunCounting::is_new_unit(const Digest& digest, const Digest::Run& run) {
  unit_.assign(digest.text(run.plan)).append(1, '\0').append(digest.text(run.serial));
  if (units_.contains(unit_)) return false;
  char* name = static_cast<char*>(memory_.allocate(unit_.size(), 1));
  std::copy(unit_.begin(), unit_.end(), name);
  return units_.emplace(name, unit_.size()).second;
}

void RunCounting::add_first(const Digest& digest, const Digest::Run& run) {
  const std::string_view verdict = digest.text(run.verdict), id = digest.text(run.id);
  if (verdict.empty()) return;
  const bool is_judged = verdict != "stopped" && verdict != "interrupted";
  const bool is_good = verdict == "passed" && (run.flags & Digest::kRetried) == 0;
  ++figures_.first_pass_strict.all;
  if (is_judged) ++figures_.first_pass.all;
  if (is_judged) batches_.add_first(digest.text(run.serial), is_good, id);
  if (!is_good) return figures_.first_lost.add(id);
  ++figures_.first_pass.part;
  ++figures_.first_pass_strict.part;
}

void RunCounting::finish() {
  figures_.units = figures_.final.all;
  figures_.batches = batches_.finish();
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
      slot.is_marked = is_marked(*slot.p, slot.runs);
    }
    figures_.slots.push_back(slot);
  }
}

}  // namespace t1station
