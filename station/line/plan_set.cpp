#include "station/line/plan_set.h"

#include <algorithm>

#include "station/plan/plan_file.h"
#include "station/plan/toml_reader.h"

namespace t1station {
namespace {

std::shared_ptr<const Plan> read_one(const std::string& file, const Plans& known) {
  std::string text = read_toml_file(file);
  for (const std::shared_ptr<const Plan>& plan : known) {
    if (plan->text == text) return plan;
  }
  return std::make_shared<const Plan>(parse_plan(file, std::move(text)));
}

}  // namespace

std::shared_ptr<const Plan> PlanSet::plan_for(std::string_view serial) const {
  const auto fits = [&](const std::shared_ptr<const Plan>& plan) { return plan->serial.matches(serial); };
  const auto found = std::find_if(plans.begin(), plans.end(), fits);
  return found == plans.end() ? nullptr : *found;
}

std::string PlanSet::trouble_text() const {
  if (trouble.size() < 2) return trouble.empty() ? "" : trouble.front();
  return trouble.front() + " (and " + std::to_string(trouble.size() - 1) + " more)";
}

PlanSet read_plan_set(const SlotFile& slot, const std::string& line_path, const Plans& known) {
  PlanSet now;
  for (const std::string& file : slot.plan_files) {
    try {
      now.plans.push_back(read_one(file, known));
      if (!now.plans.back()->wants_console() || !slot.console.empty()) continue;
      const BadFile lacking(line_path, {{slot.line, slot.column,
                                         file + " takes numbers from the board's console, and slot " +
                                             slot.name + " has none: a \"console\" is needed"}});
      now.trouble.push_back(lacking.lines().front());
    } catch (const BadFile& bad) {
      now.trouble.insert(now.trouble.end(), bad.lines().begin(), bad.lines().end());
    }
  }
  if (!now.trouble.empty()) now.plans.clear();
  return now;
}

}  // namespace t1station
