#include "station/web/asked.h"

#include <algorithm>
#include <array>

#include "station/records/reader.h"

namespace t1station {
namespace {

constexpr std::array<std::string_view, 5> kVerdictNames{"passed", "failed", "error", "stopped",
                                                        "interrupted"};

}  // namespace

std::optional<std::string> asked(const Call& call, const std::string& name) {
  const auto found = call.target.query.find(name);
  return found == call.target.query.end() || found->second.empty() ? std::nullopt
                                                                   : std::optional(found->second);
}

std::optional<std::string> asked_time(const Call& call, const std::string& name) {
  const std::optional<std::string> word = asked(call, name);
  if (!word) return std::nullopt;
  const std::optional<std::string> time = whole_time(*word);
  if (time) return time;
  throw WebError(400, "\"" + name + "\" is 2026-11-22 or 2026-11-22T03:17:12.345Z, in UTC");
}

std::optional<std::string> asked_verdict(const Call& call) {
  const std::optional<std::string> verdict = asked(call, "verdict");
  if (!verdict || std::find(kVerdictNames.begin(), kVerdictNames.end(), *verdict) != kVerdictNames.end())
    return verdict;
  throw WebError(400, "\"verdict\" is passed, failed, error, stopped or interrupted");
}

}  // namespace t1station
