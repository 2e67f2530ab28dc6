// The head of an answer: what every answer says besides its body.
#pragma once

#include <string>

#include "station/web/http.h"

namespace t1station {

/// Status line and fields up to the empty line. `of_api`: nobody may keep a copy. A stream has no length.
std::string answer_head(const WebAnswer& answer, bool of_api, bool is_last);

}  // namespace t1station
