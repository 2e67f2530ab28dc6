// The distance of two words in typing errors.
#include "station/text/suggest.h"

#include <algorithm>
#include <numeric>

namespace t1station {
namespace {

constexpr std::size_t kMost = 3;

// How many characters must be put in, taken out or replaced to make one word the other.
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= one.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t k = 1; k <= other.size(); ++k) {
      const std::size_t replaced = diagonal + (one[i - 1] == other[k - 1] ? 0 : 1);
      diagonal = row[k];
      row[k] = std::min({row[k] + 1, row[k - 1] + 1, replaced});
    }
  }
  return row.back();
}

}  // namespace

std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& candidates) {
  const std::size_t limit = std::clamp<std::size_t>(word.size() / 3, 1, 3);
  std::vector<std::pair<std::size_t, std::string>> found;
  for (const std::string& candidate : candidates) {
    const std::size_t errors = distance(word, candidate);
    if (errors <= limit) found.emplace_back(errors, candidate);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> names;
  for (std::size_t i = 0; i < std::min(found.size(), kMost); ++i) names.push_back(found[i].second);
  return names;
}

std::string did_you_mean(const std::vector<std::string>& candidates) {
  std::string text;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    if (i > 0) text += i + 1 == candidates.size() ? " or " : ", ";
    text += candidates[i];
  }
  return text.empty() ? text : ". Did you mean " + text + "?";
}

}  // namespace t1station
