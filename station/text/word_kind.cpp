#include "station/text/word_kind.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace t1station {
namespace {

bool is_digit(char letter) {
  return letter >= '0' && letter <= '9';
}

bool is_hexadecimal(char letter) {
  return is_digit(letter) || (letter >= 'a' && letter <= 'f') || (letter >= 'A' && letter <= 'F');
}

std::size_t length_while(std::string_view text, bool (*is_it)(char)) {
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), is_it) - text.begin());
}

// A minus behind these joins words, as in "port-3".
bool joins(char before) {
  return is_digit(before) || (before >= 'a' && before <= 'z') || (before >= 'A' && before <= 'Z') ||
         before == ')' || before == ']' || static_cast<unsigned char>(before) >= 0x80;
}

/// A number at the beginning of a text; its length is 0 when there is none.
struct NumberAt {
  std::size_t length = 0;
  double value = 0;
};

double value_of(std::string_view digits, std::chars_format format) {
  double value = std::numeric_limits<double>::infinity();  // stays where there are too many digits
  std::from_chars(digits.data(), digits.data() + digits.size(), value, format);
  return value;
}

NumberAt hexadecimal_at(std::string_view text) {
  if (!text.starts_with("0x") && !text.starts_with("0X")) return {};
  const std::size_t digits = length_while(text.substr(2), is_hexadecimal);
  if (digits == 0) return {};
  return {2 + digits, value_of(text.substr(2, digits), std::chars_format::hex)};
}

NumberAt decimal_at(std::string_view text) {
  std::size_t length = length_while(text, is_digit);
  if (length == 0) return {};
  if (length < text.size() && text[length] == '.') {
    const std::size_t fraction = length_while(text.substr(length + 1), is_digit);
    if (fraction > 0) length += 1 + fraction;
  }
  return {length, value_of(text.substr(0, length), std::chars_format::fixed)};
}

NumberAt number_at(std::string_view text, char before) {
  const bool has_sign = !text.empty() && (text[0] == '-' || text[0] == '+') && !joins(before);
  if (has_sign) text.remove_prefix(1);
  NumberAt number = hexadecimal_at(text);
  if (number.length == 0) number = decimal_at(text);
  if (number.length == 0 || !has_sign) return number;
  return {number.length + 1, *(text.data() - 1) == '-' ? -number.value : number.value};
}

}  // namespace

WordKind word_kind(std::string_view text) {
  WordKind kind;
  char before = ' ';
  while (!text.empty()) {
    const NumberAt number = number_at(text, before);
    const std::size_t taken = std::max<std::size_t>(number.length, 1);
    before = text[taken - 1];
    if (number.length > 0) {
      kind.words += '#';
      kind.numbers.push_back(number.value);
    } else {
      kind.words += text[0];
    }
    text.remove_prefix(taken);
  }
  return kind;
}

}  // namespace t1station
