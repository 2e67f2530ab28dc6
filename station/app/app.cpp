// From the command line to the exit code.
#include "station/app/app.h"

#include <algorithm>
#include <memory>
#include <system_error>

#include "station/app/command_line.h"
#include "station/catalogue/codes.h"
#include "station/report/json.h"
#include "station/report/junit.h"
#include "station/report/table.h"
#include "station/report/whole_file.h"
#include "station/run/runner.h"
#include "station/terminal/progress.h"
#include "station/text/errors.h"
#include "station/tools/monitor.h"
#include "station/tools/rs485_echo.h"

namespace t1station {
namespace {

bool wants_color(const CommandLine& line, const Environment& around, bool is_terminal) {
  if (line.color == CommandLine::Color::automatic) return is_terminal && !around.no_color;
  return line.color == CommandLine::Color::always;
}

std::vector<TestRequest> requests_of(const CommandLine& line) {
  std::vector<TestRequest> requests;
  for (const WantedTest& test : line.tests) {
    requests.push_back({test.code, test.parameter, line.timeout.value_or(default_timeout(test.code))});
  }
  return requests;
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

int run_tests(const CommandLine& line, const Environment& around) {
  if (line.tests.empty()) {
    around.err << "t1station: no test is selected; \"t1station list\" shows them all" << std::endl;
    return exit_code::kNothingSelected;
  }
  if (goes_on_after_restart(line.tests)) {
    around.err << "t1station: restart is not the last test: the board will be gone for those behind it"
               << std::endl;
  }
  Progress progress(around.err, style_of(line, around));
  RunSettings settings;
  settings.patience = line.patience;
  settings.quit = line.quit;
  settings.keep_going = line.keep_going;
  TcpConnector connector(*line.board, line.connect_timeout, around.interrupt);
  Runner runner(connector, around.clock, around.interrupt, progress, settings);

  RunReport report;
  report.board = line.board->text();
  report.started = around.started;
  report.results = runner.run(requests_of(line));
  report.build = runner.build();
  around.out << results_table(report, wants_color(line, around, around.out_is_terminal)) << std::flush;
  const bool has_json = write_report(line.json_file, json_report(report), around.err);
  const bool has_junit = write_report(line.junit_file, junit_report(report), around.err);
  const int code = exit_code_of(report);
  return code == exit_code::kPassed && !(has_json && has_junit) ? exit_code::kUnwritten : code;
}

int echo(const CommandLine& line, const Environment& around) {
  try {
    return rs485_echo(line.echo, around.interrupt, around.out);
  } catch (const LinkError& error) {
    around.err << "t1station: " << error.what() << std::endl;
    return around.interrupt.is_raised() ? exit_code::kInterrupted : exit_code::kBroken;
  }
}

int watch(const CommandLine& line, const Environment& around) {
  Progress progress(around.err, {});  // no live line, among which records would be shown
  TcpConnector connector(*line.board, line.connect_timeout, around.interrupt);
  Opening opening(connector, around.clock, around.interrupt, progress, line.patience);
  try {
    return monitor(opening, around.clock, line.limits, line.quit, around.out);
  } catch (const Interrupted&) {
    return exit_code::kInterrupted;
  } catch (const std::runtime_error& error) {
    progress.notice(error.what());
    return around.interrupt.is_raised() ? exit_code::kInterrupted : exit_code::kBroken;
  }
}

int obey(const CommandLine& line, const Environment& around) {
  switch (line.command) {
    case CommandLine::Command::help:
      around.out << line.help;
      return exit_code::kPassed;
    case CommandLine::Command::list:
      around.out << tests_table(line.family);
      return exit_code::kPassed;
    case CommandLine::Command::run:
      return run_tests(line, around);
    case CommandLine::Command::monitor:
      return watch(line, around);
    case CommandLine::Command::rs485_echo:
      return echo(line, around);
    case CommandLine::Command::other:
      return line.action(around);
  }
  return exit_code::kUsage;
}

}  // namespace

int run_app(const std::vector<std::string>& arguments, const Environment& around) {
  try {
    const int code = obey(parse_command_line(arguments), around);
    if (around.out << std::flush) return code;
    around.err << "t1station: standard output cannot be written" << std::endl;
    return code == exit_code::kPassed ? exit_code::kUnwritten : code;
  } catch (const Unwritable& error) {
    around.err << "t1station: " << error.what() << "; nothing was run" << std::endl;
    return exit_code::kUnwritten;
  } catch (const UsageError& error) {
    around.err << "t1station: " << error.what() << std::endl;
    return exit_code::kUsage;
  }
}

}  // namespace t1station
