// What a board said, without its numbers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// A text whose numbers were taken out.
struct WordKind {
  std::string words;            ///< with "#" for each number
  std::vector<double> numbers;  ///< in their order
};

/// Numbers are digits, with a fraction, and a sign where none of a letter, a digit and a bracket's end stands
/// before it; and hexadecimal digits behind "0x".
WordKind word_kind(std::string_view text);

}  // namespace t1station
