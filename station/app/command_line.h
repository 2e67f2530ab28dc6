// What the operator asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "station/app/command.h"
#include "station/link/link.h"
#include "station/run/opening.h"
#include "station/tools/monitor.h"
#include "station/tools/rs485_echo.h"

namespace t1station {

/// One test that the operator wants.
struct WantedTest {
  std::int32_t code = 0;
  std::optional<std::int32_t> parameter;  ///< hundredths of a volt
};

/// A command line that was understood.
struct CommandLine {
  enum class Command { help, list, run, monitor, rs485_echo, other };
  enum class Color { automatic, always, never };

  Command command = Command::help;
  Action action;     ///< what `other` does
  std::string help;  ///< the text to show for `help`, which may be the version
  std::optional<Address> board;
  std::optional<std::string> family;  ///< for `list`: whose tests to show; of one that there is
  std::vector<WantedTest> tests;
  std::optional<double> timeout;  ///< seconds for each test, instead of each test's own
  double connect_timeout = 10;    ///< seconds for each try to connect
  Patience patience;              ///< with a board that is not there yet, and with one that is busy
  double speed = 1;               ///< how many times as fast as on a real board time passes
  bool quit = true;               ///< send the quit request at the end
  bool quiet = false;             ///< show neither banner nor menu
  bool keep_going = true;         ///< after a test that did not pass
  Color color = Color::automatic;
  std::string plan_file;      ///< empty: the tests above
  std::string serial;         ///< of the unit that goes through the plan
  std::string records_file;   ///< where its run is kept
  std::string operator_name;  ///< empty: nobody said
  std::string slot;           ///< empty: the PC has one place only
  double board_wait = 60;     ///< seconds for which a board that is not there is tried again, with a plan
  std::string console;        ///< serial device of the board's console; empty: none
  int console_speed = 115200;
  std::string rs485;       ///< serial device for the RS485 echo test; empty: none
  std::string json_file;   ///< empty: no report
  std::string junit_file;  ///< empty: no report
  MonitorLimits limits;
  Rs485Echo echo;
};

/// Reads the arguments behind the program's name. Throws UsageError for everything that makes no sense.
CommandLine parse_command_line(const std::vector<std::string>& arguments);

}  // namespace t1station
