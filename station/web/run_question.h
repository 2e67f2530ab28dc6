// Which runs a request asks for, and how a page asks for them: one question, read and written.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "station/records/run_filter.h"
#include "station/web/requests.h"

namespace t1station {

/// Names and values of a query; one without a value is left out.
using QueryValues = std::vector<std::pair<std::string, std::optional<std::string>>>;

/// The runs that a request asks for, newest first. `others`: names that its query may have besides. Throws
/// WebError, 400, for what makes no sense.
RunFilter asked_runs(const Call& call, std::vector<std::string_view> others);

/// What asked_runs() reads, but `before`.
QueryValues question_of(const RunFilter& filter);

}  // namespace t1station
