// The command line, by CLI11.
#include "station/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <map>

#include "station/codes.h"
#include "station/errors.h"
#include "station/serial_line.h"
#include "station/whole_file.h"

namespace t1station {
namespace {

constexpr std::string_view code_mark = "code:";

bool is_negative_code(const std::string& word) {
  return word.size() > 1 && word[0] == '-' && word[1] >= '0' && word[1] <= '9';
}

bool takes_value(const CLI::App& app, const std::string& word) {
  const auto takes = [&word](const CLI::Option* option) {
    return word.starts_with('-') && option->check_name(word) && option->get_items_expected_max() > 0;
  };
  const std::vector<const CLI::Option*> options = app.get_options();
  if (std::any_of(options.begin(), options.end(), takes)) return true;
  const std::vector<const CLI::App*> commands = app.get_subcommands({});
  return std::any_of(commands.begin(), commands.end(),
                     [&word](const CLI::App* command) { return takes_value(*command, word); });
}

// Two tests have negative codes, which would pass for options. They are marked before the parser sees them.
std::vector<std::string> with_marked_codes(const CLI::App& app, const std::vector<std::string>& arguments) {
  std::vector<std::string> marked;
  for (const std::string& word : arguments) {
    const bool is_value = !marked.empty() && takes_value(app, marked.back());
    if (word == "--" && !is_value) continue;  // every word that looks like a code is one anyway
    marked.push_back(!is_value && is_negative_code(word) ? std::string(code_mark) + word : word);
  }
  return marked;
}

std::string without_mark(const std::string& word) {
  return word.starts_with(code_mark) ? word.substr(code_mark.size()) : word;
}

// Numbers of seconds and the like. CLI11's own check lets "nan" and "inf" pass.
std::string check_positive(const std::string& word) {
  double number = 0;
  if (CLI::detail::lexical_cast(word, number) && std::isfinite(number) && number > 0) return {};
  return "\"" + word + "\" is no positive number";
}

void check_run(const CommandLine& line) {
  const auto takes_parameter = [](std::int32_t code) {
    const TestKind* test = find_test(code);
    return !test || test->takes_parameter;
  };
  if (line.parameter && !line.codes.empty() &&
      std::none_of(line.codes.begin(), line.codes.end(), takes_parameter)) {
    throw UsageError("--param is for the tests that set a substrate voltage, and none of them is asked for");
  }
  for (const std::string& file : {line.json_file, line.junit_file}) {
    if (!file.empty()) check_writable(file);
  }
}

/// What the parser stores and parse_command_line() makes sense of.
struct Words {
  std::string host;
  std::vector<std::string> tests;
  bool no_quit = false;
};

void add_connection(CLI::App& command, CommandLine& line, Words& words) {
  const CLI::Validator positive(check_positive, "POSITIVE");
  command.add_flag("--no-quit", words.no_quit, "Leave without the quit request");
  command
      .add_option("--connect-timeout", line.connect_timeout, "Seconds for the connection and the greeting")
      ->check(positive);
  command
      .add_option("--wait", line.wait, "Keep trying for so many seconds while the board's server is starting")
      ->check(positive);
}

CLI::App* add_run(CLI::App& app, CommandLine& line, Words& words) {
  const CLI::Validator positive(check_positive, "POSITIVE");
  const std::map<std::string, CommandLine::Colour> colours{{"auto", CommandLine::Colour::automatic},
                                                           {"always", CommandLine::Colour::always},
                                                           {"never", CommandLine::Colour::never}};
  CLI::App* run = app.add_subcommand("run", "Run tests one after the other");
  run->add_option("TEST", words.tests, "Decimal code, hexadecimal code with 0x, or short name");
  run->add_option("-p,--param", line.parameter, "Voltage in hundredths of a volt, for the set-sub tests");
  run->add_option("--timeout", line.timeout,
                  "Seconds to wait for each reply; else 3 times the usual length + 30")
      ->check(positive);
  run->add_option("--json", line.json_file, "Write the results to this file as JSON");
  run->add_option("--junit", line.junit_file, "Write the results to this file as JUnit XML");
  run->add_option("--speed", line.speed, "The board runs so many times as fast; for the progress display")
      ->check(positive);
  run->add_option("--color", line.colour, "auto, always or never")
      ->transform(CLI::CheckedTransformer(colours).description(""));
  run->add_flag("--quiet", line.quiet, "Do not show banner and menu");
  run->add_flag("--keep-going,!--fail-fast", line.keep_going,
                "Go on after a test that did not pass (the default), or stop there");
  add_connection(*run, line, words);
  return run;
}

CLI::App* add_monitor(CLI::App& app, CommandLine& line, Words& words) {
  const CLI::Validator positive(check_positive, "POSITIVE");
  CLI::App* monitor = app.add_subcommand("monitor", "Show every record that the board sends");
  monitor->add_option("--for", line.limits.seconds, "End after so many seconds")->check(positive);
  monitor->add_option("--records", line.limits.records, "End after so many records")->check(positive);
  add_connection(*monitor, line, words);
  return monitor;
}

CLI::App* add_echo(CLI::App& app, CommandLine& line) {
  CLI::App* echo = app.add_subcommand(
      "rs485-echo", "Play the station's part of the RS485 echo test on a serial device of this PC");
  echo->add_option("DEVICE", line.echo.device, "The serial device: /dev/ttyUSB0")->required();
  echo->add_option("--speed", line.echo.speed, "Bits per second")->capture_default_str();
  echo->add_option("--timeout", line.echo.timeout, "Seconds to wait for the echo")
      ->check(CLI::Validator(check_positive, "POSITIVE"))
      ->capture_default_str();
  return echo;
}

}  // namespace

CommandLine parse_command_line(const std::vector<std::string>& arguments) {
  CommandLine line;
  Words words;

  CLI::App app("Runs the factory tests of a board over the network.", "t1station");
  app.require_subcommand(1);
  app.footer(
      "Exit codes: 0 all passed, 1 a test failed, 2 interrupted, 4 usage, 5 nothing selected,\n"
      "6 board unreachable or protocol broken.");
  app.add_option("HOST", words.host, "The board: HOST or HOST:PORT, port 36001 by default");
  const CLI::App* list = app.add_subcommand("list", "Show the tests; needs no board");
  const CLI::App* run = add_run(app, line, words);
  const CLI::App* monitor = add_monitor(app, line, words);
  const CLI::App* echo = add_echo(app, line);

  std::vector<std::string> reversed = with_marked_codes(app, arguments);
  std::reverse(reversed.begin(), reversed.end());
  try {
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    line.help = app.help();
    return line;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }

  line.quit = !words.no_quit;
  if (!words.host.empty()) line.board = parse_address(words.host);
  if (list->parsed()) line.command = CommandLine::Command::list;
  if (run->parsed()) line.command = CommandLine::Command::run;
  if (monitor->parsed()) line.command = CommandLine::Command::monitor;
  if (echo->parsed()) line.command = CommandLine::Command::rs485_echo;
  for (const std::string& word : words.tests) line.codes.push_back(parse_code(without_mark(word)));
  if ((run->parsed() || monitor->parsed()) && !line.board)
    throw UsageError("which board? HOST or HOST:PORT comes first");
  if (run->parsed()) check_run(line);
  if (echo->parsed()) speed_code(line.echo.speed);  // says which speeds there are
  return line;
}

}  // namespace t1station
