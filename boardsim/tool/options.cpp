// The launcher's command line.
#include "boardsim/tool/options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <stdexcept>

#include "boardsim/board.h"
#include "boardsim/core/families.h"

namespace boardsim {
namespace {

void print_boards() {
  std::printf("%-10s %-10s %-7s %s\n", "NAME", "TYPE", "ALARMS", "DESCRIPTION");
  for (const Family& family : families()) {
    char type[16];
    std::snprintf(type, sizeof type, "0x%x", family.type);
    std::printf("%-10.*s %-10s %-7u %.*s\n", static_cast<int>(family.name.size()), family.name.data(), type,
                static_cast<unsigned>(family.alarm_outputs), static_cast<int>(family.description.size()),
                family.description.data());
  }
}

/// Takes a family's name, or any device type code in hexadecimal: one that belongs to no family here makes a
/// normal board of that type.
void take_board(Config& config, const std::string& text) {
  const Family* family = find_family(text);
  if (family == nullptr && text.starts_with("0x")) {
    char* end = nullptr;
    const unsigned long code = std::strtoul(text.c_str(), &end, 16);
    if (*end == '\0' && code > 0 && code <= UINT32_MAX) {
      config.type = static_cast<std::uint32_t>(code);
      family = find_family(config.type);
      if (family == nullptr) family = find_family("normal");
    }
  }
  if (family == nullptr) {
    std::string message = "there is no board \"" + text + "\"; known are";
    for (const Family& known : families()) message.append(" ").append(known.name);
    throw CLI::ValidationError("--board", message);
  }
  config.board = family->name;
  if (config.type == 0) config.type = family->type;
}

/// Furnishes a board that nothing runs on: what is not understood is found before the start.
void check(const Config& config) {
  Board board(config.board);
  try {
    furnish(board, config);
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError(error.what());
  }
}

void take_interface(Config& config, const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw CLI::ValidationError("--interface", "expected NAME=ADDRESS or NAME=none, not \"" + text + "\"");
  }
  const std::string address = text.substr(equals + 1);
  config.interfaces[text.substr(0, equals)] = address == "none" ? "" : address;
}

/// Options whose words are made sense of when all have been read.
struct Words {
  std::string console = "utf8";
  std::string reboot = "exit";
  std::vector<std::string> interfaces;
};

void add_options(CLI::App& app, Options& options, Words& words) {
  Config& config = options.config;
  app.add_option("--board", config.board, "Board family or its type code (0x9601); \"list\" names them all")
      ->capture_default_str();
  app.add_option("--speed", config.speed, "How many times as fast as the PC's clock time runs (pace scaled)")
      ->check(CLI::Range(0.001, 1e6))
      ->capture_default_str();
  app.add_option("--pace", config.pace,
                 "How time passes: scaled, stepped (by the control channel) or virtual")
      ->check(CLI::IsMember({"scaled", "stepped", "virtual"}))
      ->capture_default_str();
  app.add_option("--control", config.control, "Unix socket at which the board takes commands");
  app.add_option("--address", options.address,
                 "Loopback address of the simulated eth0 (default: a free one)");
  app.add_option("--interface", words.interfaces, "Address of a network interface: NAME=ADDRESS or NAME=none")
      ->allow_extra_args(false);
  app.add_option("--fault", config.faults, "A fault to lay over the board, for example \"rtc stopped\"")
      ->allow_extra_args(false);
  app.add_option("--trace", config.trace, "File that gets every call of the program as it happens");
  app.add_option("--state", config.state,
                 "Folder that belongs to this board: keeps its flash and eMMC between runs");
  app.add_option("--devinfo", config.devinfo, "Folder whose files the program finds at /devinfo");
  app.add_option("--uart1", config.uart1,
                 "Path at which the board's first RS485 port appears as a serial device of this PC");
  app.add_option("--console", words.console, "Show the program's GBK output as utf8, or as it is: gbk")
      ->check(CLI::IsMember({"utf8", "gbk"}))
      ->capture_default_str();
  app.add_option("--reboot", words.reboot,
                 "What a restart of the board does: exit the program, or return to it")
      ->check(CLI::IsMember({"exit", "return"}))
      ->capture_default_str();
  app.add_flag("--every-address", config.every_address,
               "Let the program bind to all addresses of this PC when it asks to");
  app.add_option("program", options.program, "The program and its arguments");
  app.positionals_at_end();
}

}  // namespace

std::optional<Options> read_options(int argc, char** argv, int& exit_code) {
  Options options;
  Config& config = options.config;
  Words words;
  CLI::App app(
      "Runs a board's program, unmodified, on a simulated board: boardsim [OPTIONS] -- PROGRAM "
      "[ARGUMENTS]...",
      "boardsim");
  add_options(app, options, words);

  try {
    app.parse(argc, argv);
    if (config.board == "list") {
      print_boards();
      exit_code = 0;
      return std::nullopt;
    }
    take_board(config, std::string(config.board));
    if (!config.uart1.empty() && config.pace == "virtual") {
      throw CLI::ValidationError("--uart1", "nobody can keep up with --pace virtual");
    }
    for (const std::string& text : words.interfaces) take_interface(config, text);
    check(config);
    if (options.program.empty()) throw CLI::RequiredError("PROGRAM");
  } catch (const CLI::ParseError& error) {
    exit_code = app.exit(error) == 0 ? 0 : kExitUsage;
    return std::nullopt;
  }
  config.exit_at_reboot = words.reboot == "exit";
  options.utf8_console = words.console == "utf8";
  return options;
}

}  // namespace boardsim
