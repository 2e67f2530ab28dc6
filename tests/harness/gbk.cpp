// GBK to UTF-8 and back with the C library's converter.
#include "tests/harness/gbk.h"

#include <iconv.h>
#include <cstddef>
#include <stdexcept>

namespace {

std::string convert(const char* from, const char* to, std::string_view text) {
  const iconv_t converter = iconv_open(to, from);
  if (converter == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("iconv knows no GBK");

  std::string source(text);
  std::string result(source.size() * 3 + 8, '\0');
  char* in = source.data();
  char* out = result.data();
  std::size_t in_left = source.size();
  std::size_t out_left = result.size();
  const bool converted = iconv(converter, &in, &in_left, &out, &out_left) == 0 && in_left == 0;
  iconv_close(converter);
  if (!converted) {
    throw std::invalid_argument(std::string("text is not ") + from + " from byte " +
                                std::to_string(source.size() - in_left));
  }
  result.resize(result.size() - out_left);
  return result;
}

}  // namespace

std::string utf8(std::string_view gbk) {
  return convert("GBK", "UTF-8", gbk);
}

std::string gbk(std::string_view utf8) {
  return convert("UTF-8", "GBK", utf8);
}

std::string hex(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += {digits[value >> 4], digits[value & 15]};
  }
  return text;
}
