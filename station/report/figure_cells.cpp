#include "station/report/figure_cells.h"

#include <array>
#include <cstdio>

#include "station/report/html.h"

namespace t1station {

std::string share_text(const Share& share) {
  if (share.all == 0) return "–";
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.1f %%", 100 * *share.value());
  return text.data();
}

std::string chance_text(const std::optional<double>& p) {
  if (!p) return "–";
  if (*p < 0.0001) return "< 0.0001";
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "%.2g", *p);
  return text.data();
}

pugi::xml_node add_heading(pugi::xml_node table,
                           const std::vector<std::pair<std::string, const char*>>& cells) {
  pugi::xml_node row = add(add(table, "thead"), "tr");
  for (const auto& [text, of_class] : cells) add(row, "th", text, of_class);
  return add(table, "tbody");
}

pugi::xml_node add_figure_section(pugi::xml_node to, const std::string& title, const char* name) {
  pugi::xml_node section = add(to, "section");
  set(section, "data-figures", name);
  add(section, "h2", title);
  return section;
}

RunFilter FigureRuns::all() const {
  RunFilter filter;
  filter.kind = "production";
  filter.plan = window_.plan;
  filter.batch = window_.batch;
  filter.from = window_.from;
  filter.to = window_.to;
  return filter;
}

RunFilter FigureRuns::ended(const std::vector<std::string>& verdicts) const {
  RunFilter filter = all();
  filter.verdicts = verdicts;
  return filter;
}

RunFilter FigureRuns::first(const std::vector<std::string>& verdicts) const {
  RunFilter filter = ended(verdicts);
  filter.is_first = true;
  return filter;
}

RunFilter FigureRuns::of_step(const std::string& plan, const std::string& step,
                              const std::string& attempt) const {
  RunFilter filter = all();
  filter.plan = plan;
  filter.step = StepFilter{step, attempt, {}};
  return filter;
}

void FigureRuns::add(pugi::xml_node to, std::int64_t runs, const RunFilter& filter,
                     const std::string& text) const {
  const bool leads = link_ && runs > 0;
  pugi::xml_node link = add_link(to, leads ? link_(filter) : "", text, "runs");
  if (leads) set(link, "data-runs", std::to_string(runs));
}

void FigureRuns::add(pugi::xml_node to, std::int64_t runs, const RunFilter& filter) const {
  add(to, runs, filter, std::to_string(runs));
}

}  // namespace t1station
