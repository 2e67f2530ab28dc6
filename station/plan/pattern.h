// Regular expressions out of plan files, which take no more time than a reply is worth, whatever is searched.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace re2 {
class RE2;
}

namespace t1station {

/// An ECMAScript regular expression over characters, not bytes. Time grows with the length of the text, never
/// with what stands in it. Refused are patterns of more than 200 characters, a repetition (`*`, `+`, `{...}`;
/// not `?`) inside a repetition, references back, and looking ahead or behind.
class Pattern {
 public:
  /// Throws std::invalid_argument, which says at which character (from 1) what is wrong.
  explicit Pattern(std::string_view utf8);

  /// Whether the whole text matches. Bytes that are no UTF-8 match nothing.
  bool matches(std::string_view utf8) const;
  /// What the first group found where the pattern is found first; nothing where it is not found, or where the
  /// group took no part. `^` and `$` are the ends of the text.
  std::optional<std::string> find(std::string_view utf8) const;
  /// How many groups it has.
  std::size_t groups() const;
  /// As it was given.
  const std::string& text() const { return text_; }
  /// The most steps that a search takes for each byte of a text: the instructions of its automaton.
  std::size_t steps_per_byte() const;

 private:
  std::string text_;
  std::shared_ptr<const re2::RE2> regex_;  ///< copies share it
};

}  // namespace t1station
