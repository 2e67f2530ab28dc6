// What a request asks for in its query.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "station/web/requests.h"

namespace t1station {

/// A value of the query; nothing for one that is missing or empty.
std::optional<std::string> asked(const Call& call, const std::string& name);

/// The same as a time of the records. Throws WebError, 400, for what is none.
std::optional<std::string> asked_time(const Call& call, const std::string& name);

/// The times "from" and "to". Throws WebError 400 for what is no time, and when they are the wrong way round.
std::pair<std::optional<std::string>, std::optional<std::string>> asked_times(const Call& call);

}  // namespace t1station
