// Regular expressions out of plan files, which can take no more time than a reply is worth.
#pragma once

#include <optional>
#include <regex>
#include <string>
#include <string_view>

namespace t1station {

/// An ECMAScript regular expression over characters, not bytes. A pattern that could run away is refused: one
/// of more than 200 characters, a repetition inside a repetition, a reference back.
class Pattern {
 public:
  /// Throws std::invalid_argument, which says what is wrong and at which character.
  explicit Pattern(std::string_view utf8);

  /// Whether the whole text matches.
  bool matches(std::string_view utf8) const;
  /// What the first group found where the pattern is found first; nothing where it is not found. Texts longer
  /// than a reply are searched line by line, of which the first 2048 bytes count.
  std::optional<std::string> find(std::string_view utf8) const;
  /// How many groups it has.
  std::size_t groups() const;
  /// As it was given.
  const std::string& text() const { return text_; }

 private:
  std::string text_;
  std::wregex regex_;
};

}  // namespace t1station
