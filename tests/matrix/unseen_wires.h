// The wire faults that alarm tests do not see, from the wall chart of them.
#pragma once

#include <string>
#include <vector>

/// What one code does not see on some boards.
struct UnseenWires {
  std::string boards;
  std::string faults;  ///< in Markdown
};

/// From docs/fault-matrix.md; empty for a code that is not in it or sees everything. Throws
/// std::runtime_error when the document cannot be read.
std::vector<UnseenWires> unseen_wires(int code);
