// From the command line to the exit code.
#include "station/app/app.h"

#include "station/app/command_line.h"
#include "station/app/exit_code.h"
#include "station/app/run_command.h"
#include "station/report/table.h"
#include "station/terminal/progress.h"
#include "station/text/errors.h"
#include "station/tools/monitor.h"
#include "station/tools/rs485_echo.h"

namespace t1station {
namespace {

int exit_code_of(Echoed end) {
  switch (end) {
    case Echoed::right:
      return exit_code::kPassed;
    case Echoed::wrong:
      return exit_code::kFailed;
    case Echoed::interrupted:
      return exit_code::kInterrupted;
    case Echoed::nothing:
      break;
  }
  return exit_code::kBroken;
}

int exit_code_of(Watched end) {
  switch (end) {
    case Watched::to_the_limit:
      return exit_code::kPassed;
    case Watched::interrupted:
      return exit_code::kInterrupted;
    case Watched::broken:
      break;
  }
  return exit_code::kBroken;
}

int echo(const CommandLine& line, const Environment& around) {
  try {
    return exit_code_of(rs485_echo(line.echo, around.interrupt, around.out));
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
    return exit_code_of(monitor(opening, around.clock, line.limits, line.quit, around.out));
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
