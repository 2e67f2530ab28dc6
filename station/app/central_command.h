// The commands `t1station records central init` and `t1station records forward`.
#pragma once

#include "station/app/command.h"

namespace CLI {
class App;
}

namespace t1station {

/// Adds the commands below `records`; when one is given, `action` becomes what it does. Both must live as
/// long as the parser does.
void add_central_commands(CLI::App& records, Action& action);

}  // namespace t1station
