// What somebody may have meant by a word that nobody knows.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// Those candidates, at most three, that differ from the word by a typing error or two, the nearest first.
std::vector<std::string> nearest(std::string_view word, const std::vector<std::string>& candidates);

/// ". Did you mean a, b or c?", or nothing without candidates.
std::string did_you_mean(const std::vector<std::string>& candidates);

}  // namespace t1station
