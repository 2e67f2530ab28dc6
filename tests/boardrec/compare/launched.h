// The launcher as these tests start it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What a command said, and how it ended.
struct Launched {
  int status;
  std::string out, err;
};

/// Runs boardsim with these options in front of the program on the board.
Launched launch(std::vector<std::string> options);

/// A recording of every test that a family is given, on a healthy simulated board; made once for all tests.
std::string recording_of(std::string_view family);

/// A station that asks for every test of the family, one after the other, as a script.
std::string every_test(std::string_view family);

/// Makes a recording of a session on a board of that family, with the fault unless it is empty: the station
/// does what the script says.
void record(std::string_view family, const std::string& script, const std::string& file,
            std::string_view fault = {});

/// A file that stays until the tests end.
std::string own_file(std::string_view name);
