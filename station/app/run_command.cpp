#include "station/app/run_command.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <system_error>

#include "station/app/exit_code.h"
#include "station/catalogue/codes.h"
#include "station/plan/plan_file.h"
#include "station/records/records.h"
#include "station/report/json.h"
#include "station/report/junit.h"
#include "station/report/table.h"
#include "station/report/whole_file.h"
#include "station/run/runner.h"
#include "station/terminal/progress.h"
#include "station/terminal/terminal_person.h"
#include "station/text/errors.h"
#include "station/text/software.h"
#include "station/tools/rs485_echo.h"
#include "station/tools/serial_console.h"

namespace t1station {
namespace {

/// What the PC has for a slot, as the command line names it.
struct Devices {
  std::unique_ptr<SerialConsole> console;
  std::unique_ptr<Rs485Partner> rs485;
  std::unique_ptr<TerminalPerson> person;

  Slot slot() const { return {console.get(), rs485.get(), person.get()}; }
};

bool wants_color(const CommandLine& line, const Environment& around, bool is_terminal) {
  if (line.color == CommandLine::Color::automatic) return is_terminal && !around.no_color;
  return line.color == CommandLine::Color::always;
}

std::vector<Step> steps_of(const CommandLine& line) {
  std::vector<Step> steps;
  for (const WantedTest& test : line.tests) {
    Step step;
    step.code = test.code;
    step.parameter = test.parameter;
    step.timeout = line.timeout.value_or(default_timeout(test.code));
    step.stop_on_fail = !line.keep_going;
    steps.push_back(std::move(step));
  }
  return steps;
}

// Whether tests are asked for behind one that takes the board down.
bool goes_on_after_restart(const std::vector<WantedTest>& tests) {
  return std::any_of(tests.begin(), tests.end() - 1,
                     [](const WantedTest& test) { return test.code == kRestartCode; });
}

// False when the report could not be written.
bool write_report(const std::string& file, const std::string& text, std::ostream& err) {
  try {
    if (!file.empty()) write_whole_file(file, text);
    return true;
  } catch (const std::system_error& error) {
    err << "t1station: " << error.what() << std::endl;
    return false;
  }
}

ProgressStyle style_of(const CommandLine& line, const Environment& around) {
  ProgressStyle style;
  style.live = around.err_is_terminal;
  style.color = wants_color(line, around, around.err_is_terminal);
  style.greeting = !line.quiet;
  style.speed = line.speed;
  style.columns = std::max<std::size_t>(around.columns, 20);
  return style;
}

RunSettings settings_of(const CommandLine& line) {
  RunSettings settings;
  settings.patience = line.patience;
  settings.quit = line.quit;
  return settings;
}

/// Shows the table and writes the reports. Returns the exit code.
int show(const RunReport& report, const CommandLine& line, const Environment& around) {
  around.out << results_table(report, wants_color(line, around, around.out_is_terminal)) << std::flush;
  const bool has_json = write_report(line.json_file, json_report(report), around.err);
  const bool has_junit = write_report(line.junit_file, junit_report(report), around.err);
  const bool is_whole = has_json && has_junit;
  return report.exit_code == exit_code::kPassed && !is_whole ? exit_code::kUnwritten : report.exit_code;
}

int run_codes(const CommandLine& line, const Environment& around) {
  if (line.tests.empty()) {
    around.err << "t1station: no test is selected; \"t1station list\" shows them all" << std::endl;
    return exit_code::kNothingSelected;
  }
  if (goes_on_after_restart(line.tests)) {
    around.err << "t1station: restart is not the last test: the board will be gone for those behind it"
               << std::endl;
  }
  Progress progress(around.err, style_of(line, around));
  TcpConnector connector(*line.board, line.connect_timeout, around.interrupt);
  NoJournal journal;
  Runner runner(connector, around.clock, around.interrupt, progress, journal, {}, settings_of(line));

  RunReport report;
  report.board = line.board->text();
  report.started = around.started;
  report.results = runner.run(steps_of(line));
  report.build = runner.build();
  report.exit_code = exit_code_of(report);
  return show(report, line, around);
}

Devices open_devices(const CommandLine& line, const Plan& plan, const Environment& around) {
  Devices devices;
  if (!line.console.empty()) {
    devices.console = std::make_unique<SerialConsole>(line.console, line.console_speed, around.interrupt);
  } else if (plan.wants_console()) {
    throw UsageError(line.plan_file +
                     ": a step takes numbers from the board's console: --console DEVICE is needed");
  }
  if (!line.rs485.empty())
    devices.rs485 = std::make_unique<Rs485Partner>(line.rs485, line.speed, around.interrupt);
  if (plan.wants_person()) {
    if (!around.in_is_terminal) {
      throw UsageError(line.plan_file + ": a step asks a person, and standard input is no terminal");
    }
    devices.person = std::make_unique<TerminalPerson>(STDIN_FILENO);
  }
  return devices;
}

RunReport run_unit(const CommandLine& line, const Plan& plan, const Devices& devices, Records& records,
                   const Environment& around) {
  Progress progress(around.err, style_of(line, around));
  TcpConnector connector(*line.board, line.connect_timeout, around.interrupt);
  RunSettings settings = settings_of(line);
  settings.patience.absence = line.board_wait;
  settings.one_build = true;
  settings.build = plan.build;

  NewRun start;
  start.serial = line.serial;
  start.slot = line.slot;
  start.operator_name = line.operator_name;
  start.software = software();
  start.station = around.host;
  RunReport report;
  report.board = line.board->text();
  report.started = around.started;
  report.serial = line.serial;
  report.plan = plan.name;
  report.plan_version = plan.version;
  report.run = records.begin_run(start, plan);
  RecordsJournal journal(records, report.run, report.board);
  Runner runner(connector, around.clock, around.interrupt, progress, journal, devices.slot(), settings);
  report.results = runner.run(plan.steps);
  report.build = runner.build();
  report.ended = journal.ended();
  report.exit_code = exit_code_of(report.ended->verdict);
  return report;
}

int run_plan(const CommandLine& line, const Environment& around) {
  bool has_begun = false;
  try {
    const Plan plan = read_plan(line.plan_file);
    if (!plan.serial.matches(line.serial)) {
      throw UsageError("\"" + line.serial + "\" is no serial number of " + plan.name + ", which must match " +
                       plan.serial.text());
    }
    const Devices devices = open_devices(line, plan, around);
    Records records(line.records_file);
    has_begun = true;
    return show(run_unit(line, plan, devices, records, around), line, around);
  } catch (const BadPlan& bad) {
    for (const std::string& problem : bad.lines()) around.err << problem << "\n";
    around.err << std::flush;
    return exit_code::kUsage;
  } catch (const RecordsRefused& refused) {
    around.err << "t1station: " << refused.what() << "; nothing was run" << std::endl;
    return exit_code::kUsage;
  } catch (const RecordsBroken& broken) {
    around.err << "t1station: " << broken.what()
               << (has_begun ? "; the run is over, and nothing of it counts that is not stored"
                             : "; nothing was run")
               << std::endl;
    return exit_code::kBroken;
  } catch (const LinkError& error) {
    around.err << "t1station: " << error.what() << "; nothing was run" << std::endl;
    return exit_code::kBroken;
  }
}

}  // namespace

int run_tests(const CommandLine& line, const Environment& around) {
  return line.plan_file.empty() ? run_codes(line, around) : run_plan(line, around);
}

}  // namespace t1station
