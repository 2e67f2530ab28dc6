#include "station/web/asked.h"

#include "station/records/reader.h"
#include "station/text/text.h"

namespace t1station {

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
  throw WebError(400, in_quotes(name) + " is 2026-11-22 or 2026-11-22T03:17:12.345Z, in UTC");
}

std::pair<std::optional<std::string>, std::optional<std::string>> asked_times(const Call& call) {
  std::pair times{asked_time(call, "from"), asked_time(call, "to")};
  if (times.first && times.second && *times.second < *times.first)
    throw WebError(400, "\"to\" is before \"from\"");
  return times;
}

}  // namespace t1station
