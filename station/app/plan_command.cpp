#include "station/app/plan_command.h"

#include "station/app/exit_code.h"
#include "station/app/footers.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "station/plan/plan_file.h"
#include "station/report/table.h"
#include "station/run/result.h"
#include "station/text/errors.h"
#include "station/text/text.h"

namespace t1station {
namespace {

void show(const std::string& file, const Plan& plan, std::ostream& out) {
  out << clean_text(file) << ": plan \"" << plan.name << "\", version " << plan.version << "\n\n"
      << plan_table(plan);
  if (plan.wants_console()) out << "It takes numbers from the board's console.\n";
  if (plan.wants_person()) out << "It asks a person.\n";
}

// Looks at all the files, whatever is wrong with the first ones.
int check(const std::vector<std::string>& files, const Environment& around) {
  int code = exit_code::kPassed;
  bool is_first = true;
  for (const std::string& file : files) {
    try {
      const Plan plan = read_plan(file);
      if (!is_first) around.out << "\n";
      show(file, plan, around.out);
      is_first = false;
    } catch (const BadPlan& reason) {
      for (const std::string& line : reason.lines()) around.err << line << "\n";
      around.err << std::flush;
      code = exit_code::kUsage;
    }
  }
  return code;
}

}  // namespace

void add_plan_command(CLI::App& app, Action& action) {
  CLI::App* plan = app.add_subcommand("plan", "Check plan files; needs no board");
  plan->callback([plan] {
    if (plan->get_subcommands().empty())
      throw UsageError("plan what? there is: t1station plan check FILE ...");
  });
  plan->footer(footers::kPlan);
  CLI::App* check_files =
      plan->add_subcommand("check", "Say what is wrong with plans, or what their steps are");
  const auto files = std::make_shared<std::vector<std::string>>();
  check_files->add_option("FILE", *files, "A plan: a TOML file (docs/plans.md)")->required();
  check_files->footer(footers::kPlanCheck);
  check_files->callback(
      [&action, files] { action = [files](const Environment& around) { return check(*files, around); }; });
}

}  // namespace t1station
