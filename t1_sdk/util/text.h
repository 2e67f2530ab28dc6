// Small helpers for GBK texts and decimal numbers.
#pragma once

#include <cstddef>

/// Copies `text` into `buffer` of `size` bytes, terminator included. A text that does not fit is cut between
/// characters, never inside one.
void copy_gbk(char* buffer, std::size_t size, const char* text);

/// The decimal number that `text` starts with, 0 when there is none; what no 32-bit integer can hold gives
/// the nearest one, as on the board, where a long has 32 bits.
int parse_int(const char* text);
