#include "boardsim/tool/station_script.h"

#include <array>
#include <charconv>
#include <cmath>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace boardsim {
namespace {

constexpr double kLatest = 1e9;  // seconds: some 30 years

using What = StationMoment::What;
constexpr std::array<std::pair<std::string_view, What>, 5> kWords{{{"connect", What::connect},
                                                                   {"send", What::send},
                                                                   {"leave", What::leave},
                                                                   {"reset", What::reset},
                                                                   {"end", What::end}}};

std::optional<Time> seconds(const std::string& word) {
  double number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  if (!(number >= 0) || number > kLatest) return std::nullopt;
  return Time(std::llround(number * std::micro::den));
}

std::optional<What> what_of(const std::string& word) {
  for (const auto& [name, what] : kWords) {
    if (name == word) return what;
  }
  return std::nullopt;
}

/// The bytes of pairs of hexadecimal digits; nothing for other texts and for none at all.
std::optional<std::string> bytes_of(const std::string& digits) {
  std::string bytes;
  for (std::size_t at = 0; at < digits.size(); at += 2) {
    unsigned byte = 0;
    const char* const from = digits.data() + at;
    if (at + 2 > digits.size() || std::from_chars(from, from + 2, byte, 16).ptr != from + 2)
      return std::nullopt;
    bytes += static_cast<char>(byte);
  }
  if (bytes.empty()) return std::nullopt;
  return bytes;
}

/// Why a line makes no sense; empty when it does.
std::string read_line(const std::string& line, std::vector<StationMoment>& moments) {
  std::istringstream words(line);
  std::string time, word, digits, rest;
  words >> time >> word >> digits >> rest;
  const auto at = seconds(time);
  if (!at) return "\"" + time + "\" is no number of seconds";
  if (!moments.empty() && *at < moments.back().at) return "it is earlier than the line before";
  const auto what = what_of(word);
  if (!what) return "\"" + word + "\" is none of connect, send, leave, reset, end";
  StationMoment moment{.at = *at, .what = *what};
  if (*what == What::send) {
    const auto bytes = bytes_of(digits);
    if (!bytes) return "what is sent are pairs of hexadecimal digits";
    moment.bytes = *bytes;
  }
  const std::string& behind = *what == What::send ? rest : digits;
  if (!behind.empty()) return "nothing can stand where \"" + behind + "\" does";
  if (!moments.empty() && moments.back().what == What::end) return "nothing comes behind the end";
  moments.push_back(std::move(moment));
  return {};
}

}  // namespace

std::vector<StationMoment> read_station_script(const std::string& file) {
  std::ifstream in(file);
  if (!in) throw std::invalid_argument(file + " cannot be read");
  std::vector<StationMoment> moments;
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    if (line.find_first_not_of(" \t\r") == std::string::npos || line.starts_with('#')) continue;
    const std::string error = read_line(line, moments);
    if (!error.empty()) throw std::invalid_argument(file + ":" + std::to_string(number) + ": " + error);
  }
  if (moments.empty()) throw std::invalid_argument(file + " has nothing for a station to do");
  if (moments.back().what != What::end) moments.push_back({.at = moments.back().at, .what = What::end});
  return moments;
}

}  // namespace boardsim
