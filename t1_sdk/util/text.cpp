#include "t1_sdk/util/text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

void boardtest::copy_gbk(char* buffer, std::size_t size, const char* text) {
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

int boardtest::parse_int(const char* text) {
  using Int = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10), Int::min(), Int::max()));
}

bool boardtest::scan_numbers(const char* text, const char* pattern, long long* numbers) {
  for (; *pattern != '\0'; ++pattern) {
    if (*pattern == '#' || *pattern == '$') {
      const bool decimal = *pattern == '#';
      char* end = nullptr;
      const long long number = std::strtoll(text, &end, decimal ? 10 : 16);
      if (end == text) return false;
      *numbers++ = std::clamp<long long>(number, INT32_MIN, decimal ? INT32_MAX : UINT32_MAX);
      text = end;
    } else if (*pattern == ' ') {
      text += std::strspn(text, " \t\n\v\f\r");
    } else if (*text++ != *pattern) {
      return false;
    }
  }
  return true;
}
