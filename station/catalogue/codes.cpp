// What words of a command line mean.
#include "station/catalogue/codes.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "station/protocol/document.h"
#include "station/text/errors.h"
#include "station/text/suggest.h"

namespace t1station {
namespace {

std::string lower_case(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lower;
}

// Words of titles count as much as names: who types "clock" means "rtc".
std::vector<std::string> similar_names(std::string_view word) {
  std::vector<std::string> names, found;
  for (const catalogue::Test& test : catalogue::tests()) {
    names.emplace_back(test.name);
    const std::string title = " " + lower_case(test.title) + " ";
    if (title.find(" " + lower_case(word) + " ") != std::string::npos) found.emplace_back(test.name);
  }
  if (found.empty() || found.size() > 3) found = nearest(lower_case(word), names);
  return found;
}

std::string volts(int hundredths) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%d.%02d V", hundredths / 100, hundredths % 100);
  return text.data();
}

bool parse_number(std::string_view word, std::int64_t& number) {
  const bool is_negative = word.starts_with('-');
  if (is_negative) word.remove_prefix(1);
  int base = 10;
  if (word.starts_with("0x") || word.starts_with("0X")) {
    word.remove_prefix(2);
    base = 16;
  }
  if (word.starts_with('-')) return false;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number, base);
  if (error == std::errc::result_out_of_range && stop == end) {
    number = std::numeric_limits<std::int64_t>::max();
  } else if (error != std::errc() || stop != end) {
    return false;
  }
  if (is_negative) number = -number;
  return true;
}

}  // namespace

std::string title_of(std::int32_t code) {
  const catalogue::Test* test = catalogue::find_test(code);
  return test ? std::string(test->title) : "test " + std::to_string(code);
}

std::string name_of(std::int32_t code) {
  const catalogue::Test* test = catalogue::find_test(code);
  return test ? std::string(test->name) : std::to_string(code);
}

std::int32_t parse_code(const std::string& word) {
  if (const catalogue::Test* test = catalogue::find_test(std::string_view(word))) return test->code;
  std::int64_t number = 0;
  if (!parse_number(word, number)) {
    throw UsageError("there is no test \"" + word + "\"; \"t1station list\" shows them all" +
                     did_you_mean(similar_names(word)));
  }
  if (number < std::numeric_limits<std::int32_t>::min() ||
      number > std::numeric_limits<std::int32_t>::max()) {
    throw UsageError("the test code " + word + " does not fit into 32 bits");
  }
  if (number == kServiceCode) throw UsageError("255 is the code of the board's own messages, not of a test");
  if (number == kQuitCode)
    throw UsageError("62208 is the quit request, not a test; it is sent at the end anyway");
  return static_cast<std::int32_t>(number);
}

std::int32_t parse_parameter(const std::string& word) {
  std::int32_t number = 0;
  const char* end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, number);
  if (error == std::errc() && stop == end) return number;
  double meant = 0;
  const bool is_voltage =
      std::from_chars(word.data(), end, meant).ec == std::errc() && meant > 0 && meant < 1000;
  const int hundredths = is_voltage ? static_cast<int>(std::lround(meant * 100)) : 650;
  throw UsageError("\"" + word + "\" is no whole number of hundredths of a volt: write " +
                   std::to_string(hundredths) + " for " + volts(hundredths));
}

std::string possible_voltages(const catalogue::Test& test) {
  const catalogue::Voltages& range = test.voltages;
  return std::to_string(range.lowest) + " to " + std::to_string(range.highest) + " hundredths of a volt (" +
         volts(range.lowest) + " to " + volts(range.highest) + ")";
}

void check_parameter(std::int32_t code, std::optional<std::int32_t> parameter) {
  const catalogue::Test* test = catalogue::find_test(code);
  if (!test) return;  // nobody knows what it takes
  const std::string name(test->name);
  const catalogue::Voltages& range = test->voltages;
  if (!takes_parameter(*test)) {
    if (parameter)
      throw UsageError(name + " takes no parameter; only the set-sub tests do, and codes outside the list");
    return;
  }
  const std::string possible = possible_voltages(*test);
  if (!parameter) {
    const std::string lowest = std::to_string(range.lowest);
    throw UsageError(name + " needs a voltage, " + possible + ": " + name + "=" + lowest + ", or --param " +
                     lowest);
  }
  if (*parameter < range.lowest || *parameter > range.highest) {
    throw UsageError(name + " takes " + possible + ", not " + std::to_string(*parameter) +
                     ", for which the board would set a voltage of its own");
  }
}

std::int32_t reply_code(std::int32_t code) {
  constexpr std::int32_t pan_and_tilt_port = -16, rs485 = 0x400;
  return code == pan_and_tilt_port ? rs485 : code;
}

double default_timeout(std::int32_t code) {
  const catalogue::Test* test = catalogue::find_test(code);
  return (test ? test->seconds * 3 : 0) + 30;
}

}  // namespace t1station
