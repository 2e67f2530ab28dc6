// Single ways in which a simulated board is made another than the recorded one.
#pragma once

#include <span>
#include <string_view>

/// A fault of a board, and where the comparison must find it.
struct Way {
  std::string_view family;
  std::string_view fault;
  /// The devices whose answers differ, by name, a space between; none where no test of the family meets the
  /// fault. More than one where the fault itself reaches further: a wire hangs on what was not driven,
  /// storage loses its power as a whole, a folder in use stays.
  std::string_view devices;
};

/// All of them, those of one family side by side.
std::span<const Way> ways();
