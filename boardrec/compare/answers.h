// What two boards answered to the same question.
#pragma once

#include <optional>
#include <string>

#include "boardrec/compare/questions.h"

namespace boardrec {

/// How far two durations may be apart and still agree.
struct Tolerance {
  double milliseconds = 5;
  double percent = 10;  ///< of the longer one, besides
};

/// The first thing in which two answers differ.
struct Difference {
  std::string what{};  ///< "result", "bytes", "duration" ...
  std::string recorded{};
  std::string simulated{};
};

/// Nothing when the answers agree. The session's and the board's own are compared in kind: docs/comparing.md
/// lists them.
std::optional<Difference> difference_of(const Question& recorded, const Question& simulated,
                                        const Tolerance& tolerance);

}  // namespace boardrec
