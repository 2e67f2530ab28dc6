#include "station/plan/measure.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "station/text/text.h"

namespace t1station {
namespace {

// Of a console, in bytes: a reply is no longer either, and no text is to hold up a station.
constexpr std::size_t kLongestLine = 2048, kSearchedConsole = 64 << 10;

bool is_digits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::optional<double> decimal_number(std::string_view text) {
  const bool is_negative = text.starts_with('-');
  if (is_negative || text.starts_with('+')) text.remove_prefix(1);
  const std::size_t point = text.find('.');
  if (!is_digits(text.substr(0, point))) return std::nullopt;
  if (point != std::string_view::npos && !is_digits(text.substr(point + 1))) return std::nullopt;
  double value = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc()) return std::nullopt;
  return is_negative ? -value : value;
}

std::optional<std::string> find_in_console(const Pattern& pattern, std::string_view bytes) {
  if (bytes.size() > kSearchedConsole) bytes.remove_prefix(bytes.size() - kSearchedConsole);
  const std::string text = printed_text(bytes);
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (auto found = pattern.find(line.substr(0, kLongestLine))) return found;
  }
  return std::nullopt;
}

// Of a number that is shown to people, and of one that somebody wrote.
constexpr int kShownDigits = 6, kMostDigits = 10;

std::string digits(double number, int most) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.*g", most, number);
  return text.data();
}

std::optional<double> find_value(const Measure& measure, const Findings& findings) {
  if (measure.from == Measure::From::seconds) return findings.seconds;
  if (!measure.match) return std::nullopt;
  std::optional<std::string> word;
  if (measure.from == Measure::From::description) word = measure.match->find(findings.description);
  if (measure.from == Measure::From::console && findings.console)
    word = find_in_console(*measure.match, *findings.console);
  return word ? decimal_number(*word) : std::nullopt;
}

std::string outcome_of(const Measurement& measurement) {
  if (!measurement.value) return "not_found";
  if (measurement.low && *measurement.value < *measurement.low) return "low";
  if (measurement.high && *measurement.value > *measurement.high) return "high";
  return "passed";
}

}  // namespace

Measurement take_measurement(const Measure& measure, const Findings& findings) {
  Measurement measurement{
      measure.name, find_value(measure, findings), measure.unit, measure.low, measure.high, {}};
  measurement.outcome = outcome_of(measurement);
  return measurement;
}

std::string trouble_with(const Measurement& measurement) {
  if (measurement.outcome == "passed") return {};
  if (!measurement.value) return measurement.name + " not found";
  const std::string value = measurement.name + " " +
                            shown_value(*measurement.value, measurement.low, measurement.high) +
                            (measurement.unit.empty() ? "" : " " + measurement.unit);
  if (measurement.outcome == "low" && measurement.low) return value + ", below " + shortest(*measurement.low);
  if (measurement.outcome == "high" && measurement.high)
    return value + ", above " + shortest(*measurement.high);
  return value + ", " + measurement.outcome;
}

std::string shown_value(double value, std::optional<double> low, std::optional<double> high) {
  const std::string number = digits(value, kShownDigits);
  // One that is beyond its limit must not read as the limit itself.
  const bool is_a_limit = (low && number == shortest(*low)) || (high && number == shortest(*high));
  return is_a_limit ? shortest(value) : number;
}

std::string shortest(double number) {
  return digits(number, kMostDigits);
}

}  // namespace t1station
