// The command `t1station stats`.
#pragma once

#include "station/app/command.h"

namespace CLI {
class App;
}

namespace t1station {

/// Adds the command to the command line; when it is given, `action` becomes what it does. Both must live as
/// long as the parser does.
void add_stats_command(CLI::App& app, Action& action);

}  // namespace t1station
