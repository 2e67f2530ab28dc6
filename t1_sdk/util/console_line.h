// One line typed on the console (standard input), with echo and backspace.
#pragma once

/// Reads a line of at most `len` - 1 characters into `buf` of `len` bytes and ends it with a zero; a tab or a
/// line feed ends it, without echo. Waits as long as it takes. Nothing is stored at or behind `len`, and
/// nothing is read for a null buffer or a `len` below 1. An input that has ended ends the line.
void readline(char* buf, int len);
/// The same with error reports on standard output. A null buffer ends the process with status 1; a read that
/// gets nothing ends the line without a zero. No test calls it.
void readline(unsigned char* buf, int len);
