// What may stand in a pattern, and how the library that searches writes it.
#pragma once

#include <string>
#include <string_view>

namespace t1station {

/// The same regular expression as RE2 writes it: `.`, `\s` and `\uXXXX` differ. Brackets are left to RE2 but
/// for escapes. Throws std::invalid_argument, "at character N: ...", for what is no ECMAScript, for a
/// repetition inside a repetition, and for what only a search that goes back can do.
std::string translate_pattern(std::string_view utf8);

}  // namespace t1station
