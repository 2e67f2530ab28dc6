// Texts on their way from the board to a terminal or a report: GBK decoding, clean characters, column widths.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// GBK bytes as UTF-8. Throws ProtocolError at the first byte that is no GBK, naming its position.
std::string gbk_to_utf8(std::string_view gbk);

/// The same as far as the bytes are GBK; each other byte becomes U+FFFD.
std::string gbk_to_utf8_as_far_as_it_is(std::string_view gbk);

/// UTF-8 as GBK; a character that GBK does not have becomes a question mark.
std::string utf8_to_gbk(std::string_view utf8);

/// Bytes that a board printed as UTF-8, line by line: a line that is UTF-8 is taken as it is, any other one
/// as GBK. What is neither becomes U+FFFD.
std::string printed_text(std::string_view bytes);

/// A word as messages name it: "word".
inline std::string in_quotes(std::string_view word) {
  return "\"" + std::string(word) + "\"";
}

/// The number of bytes up to the first that is no UTF-8: all of them when none is.
std::size_t utf8_length(std::string_view text);

/// The text without white space at its two ends, that of other scripts too: a no-break space, an
/// ideographic one.
std::string_view without_blanks_around(std::string_view utf8);

/// The number of characters of a UTF-8 text.
std::size_t count_characters(std::string_view utf8);

/// The same UTF-8 text without anything that could steer a terminal or spoil a report: control characters
/// other than line feed and tab, and whatever is no character, become U+FFFD. Carriage returns are dropped.
std::string clean_text(std::string_view utf8);

/// The same in one line: line feeds and tabs become blanks.
std::string one_line(std::string_view utf8);

/// The number of terminal columns that one line of UTF-8 text takes: East Asian wide characters two,
/// combining marks none.
std::size_t display_width(std::string_view utf8);

/// The text cut between characters so that it takes at most `columns` columns.
std::string cut_to_width(std::string_view utf8, std::size_t columns);

/// The text with blanks behind it up to `columns` columns; longer texts stay whole.
std::string pad_to_width(std::string_view utf8, std::size_t columns);

/// The lines of a text. Empty lines at its two ends are left out.
std::vector<std::string> lines_of(std::string_view text);

/// Seconds with one digit behind the point, for example "6.0".
std::string seconds_text(double seconds);

/// The same without a digit behind the point that is 0, for example "6" and "0.5".
std::string whole_seconds_text(double seconds);

}  // namespace t1station
