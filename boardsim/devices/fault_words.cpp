// Numbers in fault texts, and the refusal of those that make no sense.
#include "boardsim/devices/fault_words.h"

#include <charconv>
#include <stdexcept>
#include <string>

namespace boardsim {

std::uint32_t fault_number(std::string_view word) {
  const bool hexadecimal = word.starts_with("0x");
  const std::string_view digits = hexadecimal ? word.substr(2) : word;
  std::uint32_t value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, hexadecimal ? 16 : 10);
  if (error != std::errc{} || end != digits.data() + digits.size()) {
    throw std::invalid_argument("fault: \"" + std::string(word) + "\" is not a number");
  }
  return value;
}

void refuse_fault(const std::vector<std::string_view>& words, std::string_view expected) {
  std::string text = "fault: \"";
  for (const std::string_view word : words) text.append(text.ends_with('"') ? "" : " ").append(word);
  throw std::invalid_argument(text.append("\" is not understood; expected ").append(expected));
}

}  // namespace boardsim
