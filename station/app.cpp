// From the command line to the exit code.
#include "station/app.h"

#include <algorithm>
#include <memory>
#include <system_error>

#include "station/codes.h"
#include "station/command_line.h"
#include "station/errors.h"
#include "station/monitor.h"
#include "station/progress.h"
#include "station/report_json.h"
#include "station/report_junit.h"
#include "station/rs485_echo.h"
#include "station/runner.h"
#include "station/table.h"
#include "station/whole_file.h"

namespace t1station {
namespace {

bool wants_colour(const CommandLine& line, const Surroundings& around, bool is_terminal) {
  if (line.colour == CommandLine::Colour::automatic) return is_terminal && !around.no_color;
  return line.colour == CommandLine::Colour::always;
}

std::vector<TestRequest> requests_of(const CommandLine& line) {
  std::vector<TestRequest> requests;
  for (const std::int32_t code : line.codes) {
    const TestKind* test = find_test(code);
    TestRequest request;
    request.code = code;
    if (!test || test->takes_parameter) request.parameter = line.parameter;
    request.timeout = line.timeout.value_or(default_timeout(code));
    requests.push_back(request);
  }
  return requests;
}

// Whether tests are asked for behind one that takes the board down.
bool goes_on_after_restart(const std::vector<std::int32_t>& codes) {
  const auto last = codes.end() - 1;
  return std::find(codes.begin(), last, restart_code) != last;
}

// False when a report could not be written.
bool write_reports(const CommandLine& line, const RunReport& report, std::ostream& err) {
  try {
    if (!line.json_file.empty()) write_whole_file(line.json_file, json_report(report));
    if (!line.junit_file.empty()) write_whole_file(line.junit_file, junit_report(report));
    return true;
  } catch (const std::system_error& error) {
    err << "t1station: " << error.what() << std::endl;
    return false;
  }
}

int run_tests(const CommandLine& line, const Surroundings& around) {
  if (line.codes.empty()) {
    around.err << "t1station: no test is selected; \"t1station list\" shows them all" << std::endl;
    return exit_code::nothing_selected;
  }
  if (goes_on_after_restart(line.codes)) {
    around.err << "t1station: restart is not the last test: the board will be gone for those behind it"
               << std::endl;
  }
  ProgressStyle style;
  style.live = around.err_is_terminal;
  style.colour = wants_colour(line, around, around.err_is_terminal);
  style.greeting = !line.quiet;
  style.speed = line.speed;
  style.columns = std::max<std::size_t>(around.columns, 20);
  Progress progress(around.err, style);

  RunSettings settings;
  settings.greeting_timeout = line.connect_timeout;
  settings.quit = line.quit;
  settings.keep_going = line.keep_going;
  const Connector connect = [&] {
    return std::make_unique<TcpLink>(*line.board, line.connect_timeout, around.interrupt, line.wait);
  };
  Runner runner(connect, around.clock, around.interrupt, progress, settings);

  RunReport report;
  report.board = line.board->text();
  report.started = around.started;
  report.results = runner.run(requests_of(line));
  report.build = runner.build();
  around.out << results_table(report, wants_colour(line, around, around.out_is_terminal)) << std::flush;
  const bool is_written = write_reports(line, report, around.err);
  const int code = exit_code_of(report);
  return code == exit_code::passed && !is_written ? exit_code::usage : code;
}

int echo(const CommandLine& line, const Surroundings& around) {
  try {
    return rs485_echo(line.echo, around.interrupt, around.out);
  } catch (const LinkError& error) {
    around.err << "t1station: " << error.what() << std::endl;
    return around.interrupt.is_raised() ? exit_code::interrupted : exit_code::broken;
  }
}

int watch(const CommandLine& line, const Surroundings& around) {
  try {
    TcpLink link(*line.board, line.connect_timeout, around.interrupt, line.wait);
    return monitor(link, around.clock, line.limits, line.quit, around.out);
  } catch (const LinkError& error) {
    around.err << "t1station: " << error.what() << std::endl;
    return around.interrupt.is_raised() ? exit_code::interrupted : exit_code::broken;
  }
}

}  // namespace

int run_app(const std::vector<std::string>& arguments, const Surroundings& around) {
  try {
    const CommandLine line = parse_command_line(arguments);
    switch (line.command) {
      case CommandLine::Command::help:
        around.out << line.help << std::flush;
        return exit_code::passed;
      case CommandLine::Command::list:
        around.out << tests_table() << std::flush;
        return exit_code::passed;
      case CommandLine::Command::run:
        return run_tests(line, around);
      case CommandLine::Command::monitor:
        return watch(line, around);
      case CommandLine::Command::rs485_echo:
        return echo(line, around);
    }
  } catch (const UsageError& error) {
    around.err << "t1station: " << error.what() << std::endl;
  }
  return exit_code::usage;
}

}  // namespace t1station
