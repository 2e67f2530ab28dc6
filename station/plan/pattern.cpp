#include "station/plan/pattern.h"

#include <re2/re2.h>

#include <array>
#include <stdexcept>

#include "station/plan/pattern_syntax.h"
#include "station/text/text.h"

namespace t1station {
namespace {

constexpr std::size_t kLongestPattern = 200;  // characters
constexpr int kLargest = 10000;               // instructions: 2 kB are searched in some 20 million steps
constexpr std::int64_t kMemory =
    8 << 20;  // bytes; where they are not enough the search goes on without a cache

std::shared_ptr<const re2::RE2> compile(std::string_view utf8) {
  if (utf8.empty()) throw std::invalid_argument("is empty");
  if (utf8_length(utf8) != utf8.size()) throw std::invalid_argument("is no UTF-8");
  if (count_characters(utf8) > kLongestPattern) {
    throw std::invalid_argument("has " + std::to_string(count_characters(utf8)) + " characters; " +
                                std::to_string(kLongestPattern) + " are the most");
  }
  re2::RE2::Options options;
  options.set_log_errors(false);
  options.set_max_mem(kMemory);
  auto regex = std::make_shared<const re2::RE2>(translate_pattern(utf8), options);
  if (!regex->ok() && regex->error_code() != re2::RE2::ErrorPatternTooLarge) {
    throw std::invalid_argument("is no regular expression: " + regex->error());
  }
  if (!regex->ok() || regex->ProgramSize() > kLargest) {
    throw std::invalid_argument("is too large: write smaller numbers into {...}");
  }
  return regex;
}

}  // namespace

Pattern::Pattern(std::string_view utf8) : text_(utf8), regex_(compile(utf8)) {}

bool Pattern::matches(std::string_view utf8) const {
  return utf8_length(utf8) == utf8.size() &&  // RE2 takes halves of characters for characters
         regex_->Match({utf8.data(), utf8.size()}, 0, utf8.size(), re2::RE2::ANCHOR_BOTH, nullptr, 0);
}

std::optional<std::string> Pattern::find(std::string_view utf8) const {
  if (groups() == 0) return std::nullopt;
  std::array<re2::StringPiece, 2> found;  // the whole, and the first group
  const bool is_found = regex_->Match({utf8.data(), utf8.size()}, 0, utf8.size(), re2::RE2::UNANCHORED,
                                      found.data(), static_cast<int>(found.size()));
  if (!is_found || found[1].data() == nullptr) return std::nullopt;
  return std::string(found[1].data(), found[1].size());
}

std::size_t Pattern::groups() const {
  return static_cast<std::size_t>(regex_->NumberOfCapturingGroups());
}

std::size_t Pattern::steps_per_byte() const {
  return static_cast<std::size_t>(regex_->ProgramSize());
}

}  // namespace t1station
