// A slot as others are told of it.
#pragma once

#include <string>

#include "station/line/line.h"

namespace t1station {

/// A slot as a JSON object in one line of UTF-8: what is not there is null.
std::string slot_json(const SlotView& slot);

}  // namespace t1station
