// GBK decoding by the C library's iconv, and a small reader of UTF-8 for cleaning and measuring.
#include "station/text/text.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "station/text/errors.h"

namespace t1station {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;
constexpr std::string_view kReplacementUtf8 = "\xEF\xBF\xBD";

struct Character {
  std::uint32_t code = kReplacement;  // replacement when the bytes are no character
  std::string_view bytes;
};

bool is_continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// The character at the start of a text that is not empty. Bytes that are no UTF-8 are taken one at a time.
Character first_character(std::string_view text) {
  struct Form {
    std::uint32_t lead_mask, lead, smallest;
    std::size_t size;
  };
  static constexpr std::array<Form, 4> kForms{{
      {0x80, 0x00, 0, 1},
      {0xE0, 0xC0, 0x80, 2},
      {0xF0, 0xE0, 0x800, 3},
      {0xF8, 0xF0, 0x10000, 4},
  }};
  const std::uint32_t lead = static_cast<unsigned char>(text[0]);
  for (const Form& form : kForms) {
    if ((lead & form.lead_mask) != form.lead || text.size() < form.size) continue;
    std::uint32_t code = lead & ~form.lead_mask;
    for (std::size_t i = 1; i < form.size; ++i) {
      if (!is_continuation(text[i])) return {kReplacement, text.substr(0, 1)};
      code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < form.smallest || code > 0x10FFFF || is_surrogate) return {kReplacement, text.substr(0, 1)};
    return {code, text.substr(0, form.size)};
  }
  return {kReplacement, text.substr(0, 1)};
}

bool may_be_shown(std::uint32_t code) {
  if (code == '\n' || code == '\t') return true;
  const bool is_control = code < 0x20 || (code >= 0x7F && code < 0xA0);
  const bool turns_text_around = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
  const bool is_line_end = code == 0x2028 || code == 0x2029;
  return !is_control && !turns_text_around && !is_line_end && (code & 0xFFFE) != 0xFFFE &&
         code != kReplacement;
}

struct Range {
  std::uint32_t first, last;
};

// East Asian Width "wide" and "fullwidth", as far as GBK and common fonts reach.
constexpr std::array<Range, 13> kWideRanges{{
    {0x1100, 0x115F},
    {0x2E80, 0x303E},
    {0x3041, 0x33FF},
    {0x3400, 0x4DBF},
    {0x4E00, 0x9FFF},
    {0xA000, 0xA4CF},
    {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},
    {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F},
    {0x20000, 0x3FFFD},
}};
constexpr std::array<Range, 3> kZeroWidthRanges{{{0x0300, 0x036F}, {0x200B, 0x200F}, {0xFE00, 0xFE0F}}};

template <std::size_t n>
bool is_in(const std::array<Range, n>& ranges, std::uint32_t code) {
  for (const Range& range : ranges) {
    if (code >= range.first && code <= range.last) return true;
  }
  return false;
}

// White_Space of Unicode, and the mark that some programs put before a text.
constexpr std::array<Range, 11> kBlankRanges{{{0x09, 0x0D},
                                              {0x20, 0x20},
                                              {0x85, 0x85},
                                              {0xA0, 0xA0},
                                              {0x1680, 0x1680},
                                              {0x2000, 0x200A},
                                              {0x2028, 0x2029},
                                              {0x202F, 0x202F},
                                              {0x205F, 0x205F},
                                              {0x3000, 0x3000},
                                              {0xFEFF, 0xFEFF}}};

std::size_t width_of(std::uint32_t code) {
  if (code < 0x20 || is_in(kZeroWidthRanges, code)) return 0;
  return is_in(kWideRanges, code) ? 2 : 1;
}

class Converter {
 public:
  explicit Converter(const char* to = "UTF-8", const char* from = "GBK") : handle_(iconv_open(to, from)) {
    // NOLINTNEXTLINE: iconv's own error value
    if (handle_ == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error("this system cannot decode GBK");
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() { iconv_close(handle_); }

  iconv_t get() const { return handle_; }

 private:
  iconv_t handle_;
};

// One line, of which every byte that starts no GBK character is replaced.
std::string gbk_as_far_as_it_is(const Converter& converter, std::string_view gbk) {
  std::string input(gbk);
  std::string output(gbk.size() * 3, '\0');  // neither a GBK character nor a replacement needs more
  char* from = input.data();
  char* to = output.data();
  std::size_t from_left = input.size();
  std::size_t to_left = output.size();
  while (iconv(converter.get(), &from, &from_left, &to, &to_left) == static_cast<std::size_t>(-1)) {
    to = std::copy(kReplacementUtf8.begin(), kReplacementUtf8.end(), to);
    to_left -= kReplacementUtf8.size();
    ++from;
    --from_left;
  }
  output.resize(output.size() - to_left);
  return output;
}

}  // namespace

std::string gbk_to_utf8(std::string_view gbk) {
  const Converter converter;
  std::string input(gbk);
  std::string output(gbk.size() * 3, '\0');  // no GBK character needs more than three bytes of UTF-8
  char* from = input.data();
  char* to = output.data();
  std::size_t from_left = input.size();
  std::size_t to_left = output.size();
  if (iconv(converter.get(), &from, &from_left, &to, &to_left) == static_cast<std::size_t>(-1)) {
    throw ProtocolError("the document is no GBK text: byte " + std::to_string(input.size() - from_left) +
                        " of " + std::to_string(input.size()) +
                        (errno == EINVAL ? " starts half a character" : " is wrong"));
  }
  output.resize(output.size() - to_left);
  return output;
}

std::string gbk_to_utf8_as_far_as_it_is(std::string_view gbk) {
  return gbk_as_far_as_it_is(Converter(), gbk);
}

std::string utf8_to_gbk(std::string_view utf8) {
  const Converter converter("GBK", "UTF-8");
  std::string input = clean_text(utf8);    // so that each byte which cannot be converted starts a character
  std::string output(input.size(), '\0');  // no GBK character needs more bytes than its UTF-8 has
  char* from = input.data();
  char* to = output.data();
  std::size_t from_left = input.size();
  std::size_t to_left = output.size();
  while (iconv(converter.get(), &from, &from_left, &to, &to_left) == static_cast<std::size_t>(-1)) {
    *to++ = '?';
    --to_left;
    do {
      ++from;
      --from_left;
    } while (from_left > 0 && (static_cast<unsigned char>(*from) & 0xC0U) == 0x80U);
  }
  output.resize(output.size() - to_left);
  return output;
}

std::string printed_text(std::string_view bytes) {
  const Converter converter;
  std::string text;
  while (!bytes.empty()) {
    const std::string_view line = bytes.substr(0, bytes.find('\n'));
    if (utf8_length(line) == line.size()) {
      text += line;
    } else {
      text += gbk_as_far_as_it_is(converter, line);
    }
    bytes.remove_prefix(line.size());
    if (bytes.empty()) break;
    text += '\n';
    bytes.remove_prefix(1);
  }
  return text;
}

std::size_t utf8_length(std::string_view text) {
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view bytes = first_character(rest).bytes;
    if (bytes.size() == 1 && static_cast<unsigned char>(bytes[0]) >= 0x80) break;
    rest.remove_prefix(bytes.size());
  }
  return text.size() - rest.size();
}

std::string_view without_blanks_around(std::string_view utf8) {
  std::size_t first = utf8.size(), end = 0;
  for (std::size_t at = 0; at < utf8.size();) {
    const Character character = first_character(utf8.substr(at));
    const bool is_blank = is_in(kBlankRanges, character.code);
    if (!is_blank) first = std::min(first, at);
    at += character.bytes.size();
    if (!is_blank) end = at;
  }
  return first < end ? utf8.substr(first, end - first) : std::string_view();
}

std::size_t count_characters(std::string_view utf8) {
  const auto continued = std::count_if(utf8.begin(), utf8.end(), is_continuation);
  return utf8.size() - static_cast<std::size_t>(continued);
}

std::string clean_text(std::string_view utf8) {
  std::string clean;
  while (!utf8.empty()) {
    const Character character = first_character(utf8);
    utf8.remove_prefix(character.bytes.size());
    if (character.code == '\r') continue;
    clean.append(may_be_shown(character.code) ? character.bytes : kReplacementUtf8);
  }
  return clean;
}

std::string one_line(std::string_view utf8) {
  std::string clean = clean_text(utf8);
  for (char& letter : clean) {
    if (letter == '\n' || letter == '\t') letter = ' ';
  }
  return clean;
}

std::size_t display_width(std::string_view utf8) {
  std::size_t width = 0;
  while (!utf8.empty()) {
    const Character character = first_character(utf8);
    width += width_of(character.code);
    utf8.remove_prefix(character.bytes.size());
  }
  return width;
}

std::string cut_to_width(std::string_view utf8, std::size_t columns) {
  std::string cut;
  while (!utf8.empty()) {
    const Character character = first_character(utf8);
    const std::size_t width = width_of(character.code);
    if (width > columns) break;
    columns -= width;
    cut.append(character.bytes);
    utf8.remove_prefix(character.bytes.size());
  }
  return cut;
}

std::string pad_to_width(std::string_view utf8, std::size_t columns) {
  std::string padded(utf8);
  const std::size_t width = display_width(utf8);
  if (width < columns) padded.append(columns - width, ' ');
  return padded;
}

std::vector<std::string> lines_of(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    if (!lines.empty() || !line.empty()) lines.emplace_back(line);
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

std::string seconds_text(double seconds) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%.1f", seconds);
  return text.data();
}

std::string whole_seconds_text(double seconds) {
  std::string text = seconds_text(seconds);
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

}  // namespace t1station
