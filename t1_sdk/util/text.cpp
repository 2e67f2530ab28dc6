// Small helpers for GBK texts and decimal numbers.
#include "t1_sdk/util/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

void copy_gbk(char* buffer, std::size_t size, const char* text) {
  std::size_t length = 0;
  while (text[length] != '\0') {
    const bool two_bytes = static_cast<unsigned char>(text[length]) >= 0x81 && text[length + 1] != '\0';
    const std::size_t next = length + (two_bytes ? 2 : 1);
    if (next >= size) break;
    length = next;
  }
  std::memcpy(buffer, text, length);
  buffer[length] = '\0';
}

int parse_int(const char* text) {
  using Int = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10), Int::min(), Int::max()));
}
