#include "boardsim/tool/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "boardsim/board.h"
#include "boardsim/board/state.h"
#include "boardsim/families/families.h"
#include "boardsim/tool/address.h"
#include "boardsim/tool/comparison.h"
#include "boardsim/tool/recorded_session.h"
#include "boardsim/tool/state_folder.h"
#include "boardsim/tool/station_script.h"
#include "version/version.h"

namespace boardsim {
namespace {

constexpr double kUndisturbedSpeed = 40;  // times as fast as the PC's clock: 25 ms of delay are a second

std::string hexadecimal(std::uint32_t code) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", code);
  return text;
}

/// The type codes of a family besides its first: "; also 0x97c0".
std::string other_types(const Family& family) {
  std::string text;
  for (const std::uint32_t type : family.types) {
    if (type != family.type) text.append(text.empty() ? "; also " : ", ").append(hexadecimal(type));
  }
  return text;
}

void print_boards() {
  std::printf("%-10s %-10s %-7s %s\n", "NAME", "TYPE", "ALARMS", "DESCRIPTION");
  for (const Family& family : families()) {
    std::printf("%-10.*s %-10s %-7u %.*s%s\n", static_cast<int>(family.name.size()), family.name.data(),
                hexadecimal(family.type).c_str(), static_cast<unsigned>(family.alarm_outputs),
                static_cast<int>(family.description.size()), family.description.data(),
                other_types(family).c_str());
  }
}

/// All faults that can be laid over a board of this configuration.
void print_faults(const Config& config) {
  Board board(config.board);
  set_up_board(board, config);
  for (const FaultLine& line : board.state().fault_list()) {
    std::printf("%s\n    %s\n", line.words.c_str(), line.meaning.c_str());
    if (!line.possible.empty()) std::printf("    %s\n", line.possible.c_str());
  }
}

/// Takes a family's name, or any device type code in hexadecimal: one that belongs to no family makes a
/// normal board of that type.
void take_board(Config& config, const std::string& text) {
  const Family* family = find_family(text);
  if (family == nullptr && text.starts_with("0x")) {
    char* end = nullptr;
    const unsigned long code = std::strtoul(text.c_str(), &end, 16);
    if (*end == '\0' && code > 0 && code <= UINT32_MAX) {
      config.type = static_cast<std::uint32_t>(code);
      family = find_family(config.type);
      if (family == nullptr) {
        family = find_family("normal");
        std::fprintf(stderr,
                     "boardsim: no family has the type code 0x%x: simulated as a normal board of that type\n",
                     config.type);
      }
    }
  }
  if (family == nullptr) {
    std::string message = "there is no board \"" + text + "\"; known are";
    for (const Family& known : families()) message.append(" ").append(known.name);
    throw CLI::ValidationError("--board", message + ", and type codes like 0x9601");
  }
  config.board = family->name;
  if (config.type == 0) config.type = family->type;
}

/// Sets up a board that nothing runs on: what is not understood is found before the start.
void check(const Config& config) {
  Board board(config.board);
  try {
    set_up_board(board, config);
    if (!config.station.empty()) read_station_script(config.station);
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError(error.what());
  }
  const Locked lock(board.state().mutex);
  if (!config.uart1.empty() && board.state().devices.rs485.is_fixture_chosen()) {
    throw CLI::ValidationError(
        "--uart1", "it plugs in the RS485 fixture \"terminal\"; another one cannot be chosen beside");
  }
}

void take_interface(Config& config, const std::string& text) {
  const auto equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw CLI::ValidationError("--interface", "expected NAME=ADDRESS or NAME=none, not \"" + text + "\"");
  }
  const std::string address = text.substr(equals + 1);
  const std::string name = text.substr(0, equals);
  if (!config.interfaces.emplace(name, address == "none" ? "" : address).second) {
    throw CLI::ValidationError("--interface", name + " is given twice");
  }
}

/// What stands behind the options; the manual page is made of it (scripts/man_pages.py).
constexpr char kFooter[] =
    R"(PROGRAM is looked for as the shell does, and "--" may be left out. The first line says which board it is
and at which address; then comes what the program prints.

Exit codes:
  N   the program ended with it, or was ended by signal N - 128
  0   with --compare: all agrees; with --replay: every call was as recorded
  1   with --compare, --replay: something differs
  64  nothing can be made of the command line, or of the recording with --compare, --replay
  70  the program cannot be used, or it called something that no board knows

Environment:
  BOARDSIM_PRELOAD_FIRST
      a library that must stand before all others, for programs built with a sanitizer

Examples:
  boardsim --board 6484 -- boardtest
      a board of this family that keeps running, for a station
  boardsim --board list
      the families; --fault list has the faults
  boardsim --board loop --fault "rtc stopped" --speed 10 -- boardtest
      a board with a broken clock, on which time runs ten times as fast
  boardsim --replay session.rec -- boardtest
      the program, answered by what was recorded on a real board
)";

/// The check without the words that the help would show behind the option's name.
CLI::Validator quiet(CLI::Validator check) {
  return check.description("");
}

/// The help, with what goes behind the options.
class HelpText : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
    return "Usage: boardsim [OPTIONS] -- PROGRAM [ARGUMENTS]...\n";
  }
};

/// Options whose words are made sense of when all have been read.
struct Words {
  std::string console = "utf8";
  std::string reboot = "exit";
  std::vector<std::string> interfaces;
  bool print_family = false;
};

/// Sessions that are kept, and those that were.
void add_session_options(CLI::App& app, Options& options) {
  app.add_option("--record", options.record,
                 "New file that gets a recording of the program, as one is made on a real board")
      ->type_name("FILE");
  app.add_option("--station", options.config.station,
                 "File that says what a station does and when, in the board's own time; with --pace virtual")
      ->type_name("FILE")
      ->check(quiet(CLI::ExistingFile));
  app.add_option("--replay", options.replay,
                 "A recording of a board that answers the program call by call, instead of a simulated one; "
                 "the first call that differs ends it. Nobody waits, but in --pace scaled")
      ->type_name("FILE");
  app.add_option("--compare", options.compare,
                 "A recording of a board whose session is run again, and every answer held against it; exit "
                 "status 1 when something differs")
      ->type_name("FILE")
      ->check(quiet(CLI::ExistingFile));
  app.add_option(
         "--tolerance", options.tolerance,
         "Milliseconds by which durations may differ in a comparison, besides a tenth of the longer one")
      ->type_name("MS")
      ->check(quiet(CLI::Range(0.0, 1e6)))
      ->capture_default_str();
  app.add_flag("--json", options.json, "Print a comparison as JSON");
  app.add_option("--learn", options.learn,
                 "New folder for what a compared recording tells of its board; --state starts from it")
      ->type_name("FOLDER");
}

/// Devices of the board that appear on the PC.
void add_pc_devices(CLI::App& app, Options& options) {
  app.add_option("--uart1", options.config.uart1,
                 "Path at which the board's first RS485 port appears as a serial device of this PC")
      ->type_name("PATH");
  app.add_option("--console-tty", options.console_tty,
                 "Path at which the board's console appears as a serial device of this PC, in GBK")
      ->type_name("PATH");
}

void add_options(CLI::App& app, Options& options, Words& words) {
  Config& config = options.config;
  app.add_option("--board", config.board,
                 "Board family or a device type code (0x9601); \"list\" names all families")
      ->type_name("BOARD")
      ->capture_default_str();
  app.add_flag("--print-family", words.print_family,
               "Print the name of the family that --board means, and end; a program is not started");
  app.add_option(
         "--speed", config.speed,
         "How many times as fast as the PC's clock time runs, in pace scaled. Above 40 the delays of the PC "
         "begin to count: tests that measure time, like that of the clock, may fail on a healthy board")
      ->type_name("N")
      ->check(quiet(CLI::Range(0.001, 1e6)))
      ->capture_default_str();
  app.add_option("--pace", config.pace,
                 "How time passes: scaled, stepped (by the control channel, see --control) or virtual")
      ->type_name("scaled|stepped|virtual")
      ->check(quiet(CLI::IsMember({"scaled", "stepped", "virtual"})))
      ->capture_default_str();
  app.add_option("--control", config.control, "Unix socket at which the board takes commands")
      ->type_name("SOCKET");
  app.add_option("--address", options.address, "Loopback address of the simulated eth0 (default: a free one)")
      ->type_name("ADDRESS");
  app.add_option("--interface", words.interfaces, "Address of a network interface: NAME=ADDRESS or NAME=none")
      ->type_name("TEXT")
      ->allow_extra_args(false);
  app.add_option("--fault", config.faults,
                 "A fault to lay over the board, for example \"rtc stopped\"; \"list\" explains all")
      ->type_name("TEXT")
      ->allow_extra_args(false);
  app.add_option("--trace", config.trace, "File that gets every call of the program as it happens")
      ->type_name("FILE");
  app.add_option(
         "--state", config.state,
         "Folder that belongs to this board: keeps its flash and eMMC between runs. A comparison takes a "
         "copy of one that is there")
      ->type_name("FOLDER");
  app.add_option("--devinfo", config.devinfo, "Folder whose files the program finds at /devinfo")
      ->type_name("FOLDER");
  add_pc_devices(app, options);
  app.add_option("--console", words.console, "Show the program's GBK output as utf8, or as it is: gbk")
      ->type_name("utf8|gbk")
      ->check(quiet(CLI::IsMember({"utf8", "gbk"})))
      ->capture_default_str();
  app.add_option("--reboot", words.reboot,
                 "What a restart of the board does: exit the program, or return to it")
      ->type_name("exit|return")
      ->check(quiet(CLI::IsMember({"exit", "return"})))
      ->capture_default_str();
  app.add_flag("--every-address", config.every_address,
               "Let the program bind to all addresses of this PC when it asks to");
  add_session_options(app, options);
  app.set_version_flag("--version", std::string("boardsim ") + version::text());
  // What follows the options is the program with its own: --help behind it is the program's.
  app.prefix_command();
  app.footer(kFooter);
}

bool given(const CLI::App& app, const char* option) {
  return app.count(option) > 0;
}

/// Everything behind the options, without the "--" that may stand before it.
std::vector<std::string> program_of(const CLI::App& app) {
  std::vector<std::string> rest = app.remaining();
  if (!rest.empty() && rest.front() == "--") {
    rest.erase(rest.begin());
  } else if (!rest.empty() && rest.front().starts_with('-')) {
    throw CLI::ExtrasError("boardsim", {rest.front()});
  }
  return rest;
}

/// An option that would have no effect beside the others is a mistake.
void check_together(const CLI::App& app, const Config& config) {
  if (given(app, "--speed") && config.pace != "scaled") {
    throw CLI::ValidationError("--speed", "it counts for --pace scaled only");
  }
  if (config.pace == "stepped" && config.control.empty()) {
    throw CLI::ValidationError("--pace",
                               "stepped time stands still without --control, whose commands advance it");
  }
  if (!config.uart1.empty() && config.pace == "virtual") {
    throw CLI::ValidationError("--uart1", "nobody can keep up with --pace virtual");
  }
  if (!config.station.empty() && config.pace != "virtual")
    throw CLI::ValidationError("--station", "its station lives in virtual time: --pace virtual");
}

/// What is only printed starts nothing: a program, and options other than `used`, have no effect.
void check_alone(const CLI::App& app, const Options& options, const std::string& printed,
                 const std::vector<std::string>& used) {
  for (const CLI::Option* option : app.get_options()) {
    const bool counts = std::ranges::find(used, option->get_name()) != used.end();
    if (option->count() > 0 && !counts) {
      throw CLI::ValidationError(option->get_name(), "it has no effect beside " + printed);
    }
  }
  if (!options.program.empty())
    throw CLI::ValidationError(options.program.front(), printed + " starts no program");
}

/// Calls what looks at the recording `file` of an option; what is wrong with it is the option's.
template <typename Look>
void take_recording(const char* option, const std::string& file, const Options& options, Look look) {
  try {
    look(read_session(file, options.program.empty() ? "" : options.program.front()));
  } catch (const std::exception& error) {
    throw CLI::ValidationError(option, error.what());
  }
}

/// Prints what the command line asks for instead of a run. False when it asks for a run.
bool only_prints(const CLI::App& app, Options& options, const Words& words) {
  Config& config = options.config;
  if (config.board == "list") {
    check_alone(app, options, "--board list", {"--board"});
    print_boards();
    return true;
  }
  if (!options.compare.empty()) {
    take_recording("--compare", options.compare, options, [&](const boardrec::Recording& recording) {
      if (!given(app, "--board")) take_recorded_board(options, recording);
    });
  }
  take_board(config, std::string(config.board));
  if (words.print_family) {
    check_alone(app, options, "--print-family", {"--board", "--print-family"});
    std::printf("%s\n", config.board.c_str());
    return true;
  }
  if (std::ranges::find(config.faults, "list") == config.faults.end()) return false;
  check_alone(app, options, "--fault list", {"--board", "--fault"});
  if (config.faults.size() > 1)
    throw CLI::ValidationError("--fault", "other faults have no effect beside --fault list");
  config.faults.clear();
  print_faults(config);
  return true;
}

/// A recording has its own board, faults and station: what would set them up has no effect.
void check_replay(const CLI::App& app, Options& options, const Words& words) {
  if (options.program.empty()) throw CLI::RequiredError("PROGRAM");
  constexpr std::array kUsed{"--replay", "--pace", "--speed", "--console"};
  for (const CLI::Option* option : app.get_options()) {
    const bool counts = std::ranges::find(kUsed, option->get_name()) != kUsed.end();
    if (option->count() > 0 && !counts)
      throw CLI::ValidationError(option->get_name(), "it has no effect beside --replay");
  }
  if (options.config.pace == "stepped")
    throw CLI::ValidationError("--pace", "a recording is replayed scaled or without waiting");
  take_recording("--replay", options.replay, options, [](const boardrec::Recording&) {});
  if (!given(app, "--pace") && !given(app, "--speed")) options.config.pace = "virtual";
  options.utf8_console = words.console == "utf8";
}

/// Whether there is something of this name. A name that nothing can have is none.
bool is_there(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

bool is_folder(const std::filesystem::path& path) {
  std::error_code ignored;
  return std::filesystem::is_directory(path, ignored);
}

/// What was learned goes into a new folder in one that is there.
void check_learn(const std::string& folder) {
  if (folder.empty()) return;
  if (is_there(folder)) throw CLI::ValidationError("--learn", folder + " is there already");
  const std::filesystem::path path = std::filesystem::absolute(folder);
  const std::filesystem::path above = (path.has_filename() ? path : path.parent_path()).parent_path();
  if (!is_folder(above))
    throw CLI::ValidationError("--learn", "there is no folder " + above.string() + " for it");
}

/// A new folder is made for a board that runs; one that is compared with another has to be known.
void check_state(const Options& options) {
  const std::string& folder = options.config.state;
  if (folder.empty()) return;
  if (is_there(folder) && !is_folder(folder)) throw CLI::ValidationError("--state", folder + " is no folder");
  if (options.compare.empty() || is_state(folder)) return;
  const char* const why = is_there(folder) ? " is no folder of a board" : " is not there: nothing to compare";
  throw CLI::ValidationError("--state", folder + why);
}

/// The recording decides how time passes and what the station does.
void check_compare(const CLI::App& app, Options& options) {
  if (options.compare.empty()) {
    for (const char* option : {"--json", "--learn", "--tolerance"}) {
      if (given(app, option)) throw CLI::ValidationError(option, "it has no effect without --compare");
    }
    return;
  }
  for (const char* option : {"--speed", "--pace", "--control", "--record", "--station", "--uart1",
                             "--console-tty", "--console", "--reboot"}) {
    if (given(app, option)) throw CLI::ValidationError(option, "it has no effect beside --compare");
  }
  check_learn(options.learn);
  options.config.pace = "virtual";
  options.config.exit_at_violation = false;
}

void take_all(const CLI::App& app, Options& options, const Words& words) {
  Config& config = options.config;
  check_together(app, config);
  if (!options.address.empty() && !is_loopback(options.address)) {
    throw CLI::ValidationError("--address", options.address + " is no loopback address (127.x.y.z)");
  }
  check_state(options);
  if (!options.record.empty() && is_there(options.record))
    throw CLI::ValidationError("--record", options.record + " is there already");
  for (const std::string& text : words.interfaces) take_interface(config, text);
  check(config);
  if (options.program.empty()) throw CLI::RequiredError("PROGRAM");
  if (config.speed > kUndisturbedSpeed) {
    std::fprintf(stderr,
                 "boardsim: at %g times the PC's speed, %g ms of delay on this PC are a second of the "
                 "board's: tests that "
                 "measure time may fail on a healthy board\n",
                 config.speed, 1000 / config.speed);
  }
  config.exit_at_reboot = words.reboot == "exit";
  options.utf8_console = words.console == "utf8";
}

}  // namespace

std::optional<Options> read_options(int argc, char** argv, int& exit_code) {
  Options options;
  Words words;
  CLI::App app("Runs a board's program, unmodified, on a simulated board.", "boardsim");
  app.formatter(std::make_shared<HelpText>());
  add_options(app, options, words);
  try {
    app.parse(argc, argv);
    options.program = program_of(app);
    if (only_prints(app, options, words)) {
      exit_code = 0;
      return std::nullopt;
    }
    if (options.replay.empty()) {
      check_compare(app, options);
      take_all(app, options, words);
    } else {
      check_replay(app, options, words);
    }
  } catch (const CLI::Success& ending) {
    exit_code = app.exit(ending);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "boardsim: %s (boardsim --help shows the options)\n", error.what());
    exit_code = kExitUsage;
    return std::nullopt;
  }
  return options;
}

}  // namespace boardsim
