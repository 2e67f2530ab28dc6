// The target of a request, taken apart.
#pragma once

#include <initializer_list>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace t1station {

/// What a request asks for. All of it is UTF-8 without control characters.
struct Target {
  std::vector<std::string> path;             ///< "/api/runs/7" is {"api", "runs", "7"}, "/" is {""}
  std::map<std::string, std::string> query;  ///< what has no value is empty
};

/// Takes a target apart and its percent signs away; dots in a path mean nothing. Throws WebError: it does not
/// begin with a slash, a percent sign without two hexadecimal digits, bytes that are no text, a name twice.
Target parse_target(std::string_view target);

/// Throws WebError when a query has other names than these.
void refuse_other_names(const Target& target, std::span<const std::string_view> names);
inline void refuse_other_names(const Target& target, std::initializer_list<std::string_view> names) {
  refuse_other_names(target, std::span(names.begin(), names.size()));
}

}  // namespace t1station
