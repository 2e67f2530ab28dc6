// What things in the records are called and when they were: ids that sort by time, times.
#pragma once

#include <string>

namespace t1station {

/// A new UUID of version 7, in the usual 36 characters. Those of one process ascend, even when the PC's clock
/// is set back.
std::string new_id();

}  // namespace t1station
