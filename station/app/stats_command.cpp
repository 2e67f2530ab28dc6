#include "station/app/stats_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <set>

#include "station/app/exit_code.h"
#include "station/app/footers.h"
#include "station/app/records_words.h"
#include "station/central/address.h"
#include "station/central/central_figures.h"
#include "station/figures/figures.h"
#include "station/figures/records_figures.h"
#include "station/report/figures_json.h"
#include "station/report/figures_text.h"
#include "station/text/text.h"

namespace t1station {
namespace {

/// The words behind `stats`.
struct StatsWords {
  std::string file, from, to, plan, batch;
  bool is_json = false;
};

Figures figures_of(const std::string& file, const FigureWindow& window, const Environment& around) {
  if (!is_central_url(file)) return find_figures(file, window);
  check_central_url(file);
  CentralFigures central(file, kPatienceOfAPerson, around.interrupt.descriptor());
  return find_figures(central, window);
}

constexpr std::size_t kNamedPlans = 10;

// A name that no run ever had is more likely a slip than a plan that was never used.
void say_unknown_plan(const std::string& name, const std::vector<PlanNamed>& plans,
                      const Environment& around) {
  std::set<std::string> names;
  for (const PlanNamed& plan : plans) names.insert(plan.name);
  if (names.contains(name)) return;
  std::string known;
  std::size_t count = 0;
  for (const std::string& one : names) {
    if (count++ == kNamedPlans) break;
    known += (known.empty() ? "" : ", ") + clean_text(one);
  }
  if (names.size() > kNamedPlans) known += " and " + std::to_string(names.size() - kNamedPlans) + " more";
  around.err << "t1station: no run was under a plan named " << clean_text(name) << ": there "
             << (names.empty() ? "is none" : (names.size() == 1 ? "is " : "are ") + known) << std::endl;
}

int show(const StatsWords& words, const Environment& around) {
  const auto [from, to] = window_of(words.from, words.to);
  FigureWindow window{from, to};
  if (!words.plan.empty()) window.plan = words.plan;
  if (!words.batch.empty()) window.batch = words.batch;
  const Figures figures = figures_of(words.file, window, around);
  if (window.plan) say_unknown_plan(*window.plan, figures.plans, around);
  around.out << (words.is_json ? figures_json(figures) + "\n" : figures_text(figures));
  return exit_code::kPassed;
}

}  // namespace

void add_stats_command(CLI::App& app, Action& action) {
  CLI::App* stats = app.add_subcommand("stats", "Show the figures of records; needs no board");
  const auto words = std::make_shared<StatsWords>();
  stats->add_option("FILE", words->file, "The records, or the URL of a central database")->required();
  stats
      ->add_option(
          "--from", words->from,
          "Only runs that started then or later: 2026-11-22 (UTC), or a time, 2026-11-22T08:00+08:00")
      ->type_name("TIME");
  stats->add_option("--to", words->to, "Only runs that started before")->type_name("TIME");
  stats->add_option("--plan", words->plan, "Only runs under a plan of this name, of any version")
      ->type_name("NAME");
  stats->add_option("--batch", words->batch, "Only units whose serial number begins with this")
      ->type_name("TEXT");
  stats->add_flag("--json", words->is_json, "Print one JSON document (docs/line-http.md has its keys)");
  stats->footer(footers::kStats);
  stats->callback([&action, words] {
    action = [words](const Environment& around) {
      return obey_with_records([&] { return show(*words, around); }, around);
    };
  });
}

}  // namespace t1station
