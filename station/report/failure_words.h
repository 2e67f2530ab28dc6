// What boards said at a kind of failure, as people read it.
#pragma once

#include <string>

#include "station/figures/figures.h"

namespace t1station {

/// A kind's words, and the numbers that stand for those that differ, "# 1 … 2; # 0 … 7"; both may be empty.
struct ShownWords {
  std::string words, numbers;
};

/// Numbers that are always the same stand in the words, where "#" stands there for nothing else.
ShownWords shown_words(const FailureKind& kind);

}  // namespace t1station
