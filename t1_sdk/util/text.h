// Small helpers for GBK texts and for numbers in texts.
#pragma once

#include <cstddef>

namespace boardtest {

/// Copies `text` into `buffer` of `size` bytes (1 at least), terminator included. A text that does not fit is
/// cut between characters, never inside one.
void copy_gbk(char* buffer, std::size_t size, const char* text);

/// The decimal number that `text` starts with, 0 when there is none; what no 32-bit integer can hold gives
/// the nearest one, as on the board, where a long has 32 bits.
[[nodiscard]] int parse_int(const char* text);

/// Reads the numbers in `text`: in `pattern`, `#` stands for a decimal number, `$` for a hexadecimal one, a
/// blank for any white space, and everything else for itself. Decimal numbers give the nearest signed 32-bit
/// number, hexadecimal ones at most the largest unsigned one. False, with `numbers` as far as it matched,
/// when `text` does not begin with the pattern. `numbers` holds as many as the pattern has.
[[nodiscard]] bool scan_numbers(const char* text, const char* pattern, long long* numbers);

}  // namespace boardtest
