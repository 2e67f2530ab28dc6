// What a request asks for in its query.
#pragma once

#include <optional>
#include <string>

#include "station/web/requests.h"

namespace t1station {

/// A value of the query; nothing for one that is missing or empty.
std::optional<std::string> asked(const Call& call, const std::string& name);

/// The same as a time of the records. Throws WebError, 400, for what is none.
std::optional<std::string> asked_time(const Call& call, const std::string& name);

}  // namespace t1station
