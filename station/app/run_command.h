// The command `t1station HOST run`: tests that are asked for one by one, or a unit on its way through a plan.
#pragma once

#include "station/app/app.h"
#include "station/app/command_line.h"

namespace t1station {

/// Runs what the command line asks for, and returns the exit code. Throws UsageError, before anything was
/// run, for what cannot be run.
int run_tests(const CommandLine& line, const Environment& around);

}  // namespace t1station
