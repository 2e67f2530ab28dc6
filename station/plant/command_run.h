// Runs a program that is given something to read, and no more time than it may take.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// Runs a program in a process group of its own, with `input` as its standard input and nothing else of this
/// process. Kills the group when the program takes longer than `patience`, and once `stop` is readable.
/// Returns what went wrong, with the first line that it wrote to its standard error; empty when it ended with
/// status 0. That it did not read everything is not wrong.
std::string run_command(const std::vector<std::string>& command, std::string_view input,
                        std::chrono::milliseconds patience, int stop);

}  // namespace t1station
