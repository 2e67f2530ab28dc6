#include "station/central/values.h"

#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstdint>

#include "station/records/records.h"
#include "station/text/text.h"

namespace t1station {
namespace {

// Numbers of types, which PostgreSQL never changes.
constexpr unsigned kBool = 16, kBytes = 17, kInteger = 20, kHalfInteger = 23, kReal = 701, kTime = 1184;

// U+10FF00 to U+10FFFF: F4 8F, then two bytes with six bits each.
constexpr std::string_view kMark = "\xF4\x8F";
constexpr unsigned char kThird = 0xBC, kContinued = 0x80, kSixBits = 0x3F;

std::string marked(char letter) {
  const auto byte = static_cast<unsigned char>(letter);
  return std::string(kMark) + static_cast<char>(kThird + (byte >> 6U)) +
         static_cast<char>(kContinued | (byte & kSixBits));
}

bool begins_with_mark(std::string_view text) {
  return text.size() >= 4 && text.starts_with(kMark) && static_cast<unsigned char>(text[2]) >= kThird;
}

std::uint64_t big_endian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8U | static_cast<unsigned char>(byte);
  return number;
}

// Microseconds since the year 2000 as records write a time; what is finer than that is shown.
std::string time_text(std::int64_t since_2000) {
  using namespace std::chrono;
  constexpr auto kStart = sys_days(year(2000) / January / 1);
  const auto time = kStart + microseconds(since_2000);
  std::string text = record_time(floor<milliseconds>(time));
  const auto rest = (time - floor<milliseconds>(time)).count();
  if (rest != 0) text.insert(text.size() - 1, std::to_string(1000 + rest).substr(1));
  return text;
}

template <typename Number>
std::string decimal_text(Number number) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

}  // namespace

std::string central_text(std::string_view text) {
  std::string central;
  while (!text.empty()) {
    const std::string_view good = text.substr(0, utf8_length(text));
    for (std::size_t i = 0; i < good.size(); ++i) {
      if (good[i] == '\0') {
        central += marked('\0');
      } else if (begins_with_mark(good.substr(i))) {
        for (const char byte : good.substr(i, 4)) central += marked(byte);
        i += 3;
      } else {
        central += good[i];
      }
    }
    text.remove_prefix(good.size());
    if (text.empty()) break;
    central += marked(text.front());
    text.remove_prefix(1);
  }
  return central;
}

std::string text_of_central(std::string_view text) {
  std::string own;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (begins_with_mark(text.substr(i))) {
      const auto high = static_cast<unsigned char>(text[i + 2] - kThird),
                 low = static_cast<unsigned char>(text[i + 3]);
      own += static_cast<char>(high << 6U | (low & kSixBits));
      i += 3;
    } else {
      own += text[i];
    }
  }
  return own;
}

WireValue to_wire(const Value& value) {
  if (const auto* integer = std::get_if<std::int64_t>(&value)) return {decimal_text(*integer)};
  if (const auto* real = std::get_if<double>(&value)) return {decimal_text(*real)};
  if (const auto* text = std::get_if<std::string>(&value)) return {central_text(*text)};
  if (const auto* blob = std::get_if<Blob>(&value)) return {blob->bytes, true};
  return {};
}

Value from_wire(unsigned type, std::string_view bytes) {
  switch (type) {
    case kBool:
    case kInteger:
      return static_cast<std::int64_t>(big_endian(bytes));
    case kHalfInteger:
      return std::int64_t{static_cast<std::int32_t>(big_endian(bytes))};
    case kReal:
      return std::bit_cast<double>(big_endian(bytes));
    case kTime:
      return time_text(static_cast<std::int64_t>(big_endian(bytes)));
    case kBytes:
      return Blob{std::string(bytes)};
    default:
      return text_of_central(bytes);
  }
}

}  // namespace t1station
