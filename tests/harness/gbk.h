// Text of the board (GBK) to text of the tests (UTF-8) and back, and bytes to hexadecimal digits.
#pragma once

#include <string>
#include <string_view>

/// Decodes GBK. Throws std::invalid_argument for bytes that are not GBK.
std::string utf8(std::string_view gbk);

/// Encodes as GBK. Throws std::invalid_argument for text that is not UTF-8 or that GBK lacks.
std::string gbk(std::string_view utf8);

/// Bytes as lower-case hexadecimal digits.
std::string hex(std::string_view bytes);
