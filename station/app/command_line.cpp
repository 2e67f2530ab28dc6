// The command line, by CLI11.
#include "station/app/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>

#include "station/app/footers.h"
#include "station/app/line_command.h"
#include "station/app/plan_command.h"
#include "station/app/records_command.h"
#include "station/app/stats_command.h"
#include "station/app/users_command.h"
#include "station/catalogue/codes.h"
#include "station/link/serial_line.h"
#include "station/report/whole_file.h"
#include "station/text/errors.h"
#include "station/text/software.h"
#include "station/text/suggest.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::string_view kCodeMark = "code:";

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
    marked.push_back(!is_value && is_negative_code(word) ? std::string(kCodeMark) + word : word);
  }
  return marked;
}

std::string without_mark(const std::string& word) {
  return word.starts_with(kCodeMark) ? word.substr(kCodeMark.size()) : word;
}

// Numbers of seconds and the like. CLI11's own check lets "nan" and "inf" pass.
std::string check_positive(const std::string& word) {
  double number = 0;
  if (CLI::detail::lexical_cast(word, number) && std::isfinite(number) && number > 0) return {};
  return in_quotes(word) + " is no positive number";
}

std::string check_count(const std::string& word) {
  std::uint32_t number = 0;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number);
  if (error == std::errc() && stop == end && number > 0) return {};
  return in_quotes(word) + " is no whole number from 1 to 4294967295";
}

std::string check_speed(const std::string& word) {
  int number = 0;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number);
  if (error != std::errc() || stop != end) return in_quotes(word) + " is no whole number; boards use 38400";
  try {
    speed_code(number);
    return {};
  } catch (const UsageError& reason) {
    return reason.what();  // says which speeds there are
  }
}

std::string check_color(const std::string& word) {
  if (word == "auto" || word == "always" || word == "never") return {};
  return in_quotes(word) + " is none of auto, always and never";
}

WantedTest parse_test(const std::string& word) {
  const std::size_t sign = word.find('=');
  WantedTest test{parse_code(word.substr(0, sign)), std::nullopt};
  if (sign != std::string::npos) test.parameter = parse_parameter(word.substr(sign + 1));
  return test;
}

// Gives the parameter that was said for all to the tests that take one and have none of their own.
void give_parameter(std::vector<WantedTest>& tests, const std::string& word) {
  const std::int32_t parameter = parse_parameter(word);
  bool is_used = false;
  for (WantedTest& test : tests) {
    const catalogue::Test* known = catalogue::find_test(test.code);
    if (test.parameter || (known && !takes_parameter(*known))) continue;
    test.parameter = parameter;
    is_used = true;
  }
  if (is_used || tests.empty()) return;
  throw UsageError(
      "--param is for the tests that set a substrate voltage, and none is asked for without a voltage of its "
      "own");
}

void check_family(const std::string& name) {
  if (catalogue::find_family(name)) return;
  std::vector<std::string> names;
  std::string all;
  for (const catalogue::Family& family : catalogue::families()) {
    names.emplace_back(family.name);
    all += " " + names.back();
  }
  throw UsageError("there is no board family \"" + name + "\"; there are" + all +
                   did_you_mean(nearest(name, names)));
}

// The tests that a family is given, with its usual voltage where one is set.
std::vector<WantedTest> tests_of(const std::string& family) {
  check_family(family);
  const std::int32_t voltage = catalogue::find_family(family)->voltage;
  std::vector<WantedTest> tests;
  for (const catalogue::Test* test : catalogue::tests_of(family)) {
    tests.push_back({test->code, takes_parameter(*test) ? std::optional(voltage) : std::nullopt});
  }
  return tests;
}

void check_reports(const CLI::App& run, const CommandLine& line) {
  if (run.count("--json") > 0) check_writable(line.json_file);
  if (run.count("--junit") > 0) check_writable(line.junit_file);
  for (const std::string& report : {line.json_file, line.junit_file}) {
    if (report.empty() || line.plan_file.empty()) continue;
    if (is_of_records(report, line.records_file))
      throw UsageError("a report cannot take the place of the records, " + report);
    if (is_same_file(report, line.plan_file))
      throw UsageError("a report cannot take the place of the plan, " + report);
  }
  if (!line.json_file.empty() && !line.junit_file.empty() && is_same_file(line.json_file, line.junit_file)) {
    throw UsageError("--json and --junit name the same file, " + line.json_file);
  }
}

/// What the parser stores and parse_command_line() makes sense of.
struct Words {
  std::string host;
  std::vector<std::string> tests;
  std::optional<std::string> parameter;
  std::optional<std::string> family;
  std::string color = "auto";
  bool no_quit = false;
  bool keep_going = false;
  bool fail_fast = false;
};

void add_connection(CLI::App& command, CommandLine& line, Words& words) {
  const CLI::Validator positive(check_positive, "");
  command.option_defaults()->group("The connection");
  command.add_flag("--no-quit", words.no_quit, "Leave without the quit request");
  command.add_option("--connect-timeout", line.connect_timeout, "Seconds for each try to connect")
      ->type_name("S")
      ->check(positive)
      ->capture_default_str();
  command
      .add_option("--greeting-wait", line.patience.greeting,
                  "Seconds for banner and menu: the board may be busy with another station")
      ->type_name("S")
      ->check(positive)
      ->capture_default_str();
  command
      .add_option("--wait", line.patience.absence,
                  "Keep trying for so many seconds while the board or its server is starting")
      ->type_name("S")
      ->check(positive);
}

void add_plan_options(CLI::App& run, CommandLine& line) {
  run.option_defaults()->group("Taking a unit through a plan, instead of TESTs");
  CLI::Option* plan =
      run.add_option("--plan", line.plan_file, "The plan: which tests, how often, which limits");
  CLI::Option* serial =
      run.add_option("--serial", line.serial, "The unit's serial number")->type_name("SN")->needs(plan);
  CLI::Option* records =
      run.add_option("--records", line.records_file, "Keep the run in this file; made when it is missing")
          ->type_name("FILE")
          ->needs(plan);
  plan->type_name("FILE")->needs(serial)->needs(records);
  run.add_option("--operator", line.operator_name, "Who tests, for the records")
      ->type_name("NAME")
      ->needs(plan);
  run.add_option("--slot", line.slot, "The place of the board, for the records")
      ->type_name("NAME")
      ->needs(plan);
  run.add_option("--board-wait", line.board_wait,
                 "Seconds to keep trying, at each connection, while the board starts")
      ->type_name("S")
      ->check(CLI::Validator(check_positive, ""))
      ->needs(plan)
      ->capture_default_str();
  run.add_option("--console", line.console, "Serial device with the board's console, kept with each attempt")
      ->type_name("DEVICE")
      ->needs(plan);
  run.add_option("--console-speed", line.console_speed, "Bits per second of the console")
      ->type_name("N")
      ->check(CLI::Validator(check_speed, ""))
      ->needs(plan)
      ->capture_default_str();
  run.add_option("--rs485", line.rs485, "Serial device on which the station plays its part of the echo test")
      ->type_name("DEVICE")
      ->needs(plan);
}

void add_choice_of_tests(CLI::App& run, CommandLine& line, Words& words) {
  run.add_option("TEST", words.tests,
                 "Decimal code, hexadecimal code with 0x, or short name; with =N the parameter of this one");
  run.option_defaults()->group("Choosing tests, and what follows one");
  run.add_option("-p,--param", words.parameter,
                 "Voltage in hundredths of a volt (650 for 6.50 V), for the set-sub tests")
      ->type_name("N");
  run.add_option("--family", words.family,
                 "Run all tests that boards of this family are given, instead of TESTs")
      ->type_name("NAME");
  run.add_option("--timeout", line.timeout,
                 "Seconds to wait for each reply; else 3 times the usual length + 30")
      ->type_name("S")
      ->check(CLI::Validator(check_positive, ""));
  CLI::Option* keep_going =
      run.add_flag("--keep-going", words.keep_going, "Go on after a test that did not pass (the default)");
  run.add_flag("--fail-fast", words.fail_fast, "Stop after the first test that does not pass")
      ->excludes(keep_going);
}

void add_shown(CLI::App& run, CommandLine& line, Words& words) {
  run.option_defaults()->group("What is shown and written");
  run.add_option("--json", line.json_file, "Write the results to this file as JSON")->type_name("FILE");
  run.add_option("--junit", line.junit_file, "Write the results to this file as JUnit XML")
      ->type_name("FILE");
  run.add_flag("--quiet", line.quiet, "Do not show banner and menu");
  run.add_option("--speed", line.speed,
                 "The board runs so many times as fast; for the progress display and --rs485")
      ->type_name("N")
      ->check(CLI::Validator(check_positive, ""));
  run.add_option("--color", words.color, "When results are in colors; auto: on a terminal")
      ->type_name("auto|always|never")
      ->check(CLI::Validator(check_color, ""));
}

CLI::App* add_run(CLI::App& app, CommandLine& line, Words& words) {
  CLI::App* run = app.add_subcommand("run", "Run tests one after the other, or take a unit through a plan");
  add_choice_of_tests(*run, line, words);
  add_plan_options(*run, line);
  add_shown(*run, line, words);
  add_connection(*run, line, words);
  run->footer(footers::kRun);
  return run;
}

CLI::App* add_monitor(CLI::App& app, CommandLine& line, Words& words) {
  CLI::App* monitor = app.add_subcommand("monitor", "Show every record that the board sends");
  monitor->add_option("--for", line.limits.seconds, "End so many seconds after the first record")
      ->type_name("S")
      ->check(CLI::Validator(check_positive, ""));
  monitor->add_option("--records", line.limits.records, "End after so many records")
      ->type_name("N")
      ->check(CLI::Validator(check_count, ""));
  add_connection(*monitor, line, words);
  monitor->footer(footers::kMonitor);
  return monitor;
}

CLI::App* add_echo(CLI::App& app, CommandLine& line) {
  CLI::App* echo = app.add_subcommand(
      "rs485-echo", "Play the station's part of the RS485 echo test on a serial device of this PC");
  echo->add_option("DEVICE", line.echo.device, "The serial device: /dev/ttyUSB0")->required();
  echo->add_option("--speed", line.echo.speed, "Bits per second")
      ->type_name("N")
      ->check(CLI::Validator(check_speed, ""))
      ->capture_default_str();
  echo->add_option("--timeout", line.echo.timeout, "Seconds to wait for the echo")
      ->type_name("S")
      ->check(CLI::Validator(check_positive, ""))
      ->capture_default_str();
  echo->footer(footers::kEcho);
  return echo;
}

CLI::App* add_list(CLI::App& app, CommandLine& line) {
  CLI::App* list = app.add_subcommand("list", "Show the tests; needs no board");
  list->add_option("--family", line.family, "Only those that boards of this family are given, in their order")
      ->type_name("NAME");
  list->footer(footers::kList);
  return list;
}

// The name of what stands without an option says what it is.
void hide_types(CLI::App& app) {
  for (CLI::Option* option : app.get_options()) {
    if (option->get_positional()) option->type_name("");
  }
  for (CLI::App* command : app.get_subcommands({})) hide_types(*command);
}

// The command is the first word, or the second one behind HOST. The parser itself would only miss one.
void check_command(const CLI::App& app, const std::vector<std::string>& arguments) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) names.push_back(command->get_name());
  const auto is_command = [&](const std::string& word) {
    return std::find(names.begin(), names.end(), word) != names.end();
  };
  std::vector<std::string> words;
  for (const std::string& word : arguments) {
    if (word.starts_with('-')) {
      if (words.size() < 2) return;  // an option, of which the parser knows more
      break;
    }
    words.push_back(word);
  }
  words.resize(std::min<std::size_t>(words.size(), 2));
  if (std::any_of(words.begin(), words.end(), is_command)) return;
  const std::string commands =
      "there are run, monitor, list, line, plan, records, stats, users and rs485-echo (t1station --help)";
  if (words.empty()) throw UsageError("which command? " + commands);
  const std::vector<std::string> meant = nearest(words.back(), names);
  if (words.size() == 1 && meant.empty())
    throw UsageError("what is to be done with " + words[0] + "? " + commands);
  throw UsageError("\"" + words.back() + "\" is no command; " + commands + did_you_mean(meant));
}

// The parser would take the next word for the value.
void refuse_missing_values(const std::vector<std::string>& arguments) {
  for (const std::string& word : arguments) {
    if (word.starts_with("--") && word.ends_with('='))
      throw UsageError(in_quotes(word) + " is without a value");
  }
}

// The command of a command that was given, or the command, or the program itself; with the words up to there.
std::pair<const CLI::App*, std::string> given_command(const CLI::App& app) {
  const CLI::App* command = &app;
  std::string words;
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands().front();
    words += (words.empty() ? "" : " ") + command->get_name();
  }
  return {command, words};
}

std::string help_of(const CLI::App& app) {
  const auto [command, words] = given_command(app);
  if (command == &app) return app.help();
  const std::string before = words.substr(0, words.size() - command->get_name().size());
  const bool has_board = words == "run" || words == "monitor";
  std::string program = "t1station " + (has_board ? "HOST" : before);
  program.erase(program.find_last_not_of(' ') + 1);
  return command->help(program);
}

// Words that are left over, with what they may have been.
[[noreturn]] void refuse_extra(const CLI::App& app) {
  const auto [command, words] = given_command(app);
  if (command != &app) {
    const std::string help = "; \"t1station " + words + " --help\" shows what there is";
    for (const std::string& word : command->remaining()) {
      std::vector<std::string> options;
      for (const CLI::Option* option : command->get_options()) {
        if (!option->get_lnames().empty()) options.push_back("--" + option->get_lnames().front());
      }
      const std::string what = word.starts_with('-') ? "\" is no option of " : "\" is not expected behind ";
      throw UsageError("\"" + word + what + words + help + did_you_mean(nearest(word, options)));
    }
  }
  throw UsageError("\"" + app.remaining(true).front() +
                   "\" is not expected; \"t1station --help\" shows what there is");
}

// A plan says itself what is run, and how.
void refuse_beside_plan(const CLI::App& run, const Words& words) {
  for (const char* option :
       {"TEST", "--param", "--family", "--timeout", "--wait", "--keep-going", "--fail-fast"}) {
    const bool is_test = std::string_view(option) == "TEST";
    if (is_test ? words.tests.empty() : run.count(option) == 0) continue;
    const bool is_wait = std::string_view(option) == "--wait";
    const std::string word = is_test ? "a TEST" : option;
    throw UsageError(word + " cannot stand beside --plan" +
                     (is_wait ? ", for which it is --board-wait" : ", which says itself what is run"));
  }
}

// With a plan the board may stand behind `run`, too, where a TEST would.
void take_board_behind_run(const CLI::App& run, const CommandLine& line, Words& words) {
  const bool is_board =
      run.parsed() && !line.plan_file.empty() && words.host.empty() && words.tests.size() == 1;
  if (!is_board) return;
  words.host = words.tests.front();
  words.tests.clear();
}

void finish_run(const CLI::App& run, const Words& words, CommandLine& line) {
  if (!line.plan_file.empty()) refuse_beside_plan(run, words);
  line.keep_going = !words.fail_fast;
  if (words.color == "always") line.color = CommandLine::Color::always;
  if (words.color == "never") line.color = CommandLine::Color::never;
  for (const std::string& word : words.tests) line.tests.push_back(parse_test(without_mark(word)));
  if (words.family) {
    if (!line.tests.empty())
      throw UsageError("either TESTs or --family, which chooses all of a family's tests");
    line.tests = tests_of(*words.family);
  }
  if (words.parameter) give_parameter(line.tests, *words.parameter);
  for (const WantedTest& test : line.tests) check_parameter(test.code, test.parameter);
  check_reports(run, line);
}

}  // namespace

CommandLine parse_command_line(const std::vector<std::string>& arguments) {
  CommandLine line;
  Words words;

  CLI::App app("Runs the factory tests of a board over the network.", "t1station");
  app.require_subcommand(1);
  app.set_version_flag("--version", software());
  app.footer(footers::kProgram);
  app.add_option("HOST", words.host,
                 "The board, for run and monitor: HOST or HOST:PORT, port 36001 by default");
  const CLI::App* list = add_list(app, line);
  const CLI::App* run = add_run(app, line, words);
  const CLI::App* monitor = add_monitor(app, line, words);
  const CLI::App* echo = add_echo(app, line);
  add_line_command(app, line.action);
  add_plan_command(app, line.action);
  add_records_command(app, line.action);
  add_stats_command(app, line.action);
  add_users_command(app, line.action);
  hide_types(app);

  check_command(app, arguments);
  refuse_missing_values(arguments);
  std::vector<std::string> reversed = with_marked_codes(app, arguments);
  std::reverse(reversed.begin(), reversed.end());
  try {
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    line.help = help_of(app);
    return line;
  } catch (const CLI::CallForVersion&) {
    line.help = app.version() + "\n";
    return line;
  } catch (const CLI::ExtrasError&) {
    refuse_extra(app);
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }

  take_board_behind_run(*run, line, words);
  line.quit = !words.no_quit;
  if (line.action) line.command = CommandLine::Command::other;
  if (list->parsed()) line.command = CommandLine::Command::list;
  if (run->parsed()) line.command = CommandLine::Command::run;
  if (monitor->parsed()) line.command = CommandLine::Command::monitor;
  if (echo->parsed()) line.command = CommandLine::Command::rs485_echo;
  const bool needs_board = run->parsed() || monitor->parsed();
  if (needs_board && words.host.empty()) throw UsageError("which board? HOST or HOST:PORT comes first");
  if (!needs_board && !words.host.empty()) {
    throw UsageError(app.get_subcommands().front()->get_name() + " needs no board: leave out " + words.host);
  }
  if (needs_board) line.board = parse_address(words.host);
  if (line.family) check_family(*line.family);
  if (run->parsed()) finish_run(*run, words, line);
  return line;
}

}  // namespace t1station
