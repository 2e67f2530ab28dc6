// What things in the records are called and when they were: ids that sort by time, times, hashes.
#pragma once

#include <string>
#include <string_view>

namespace t1station {

/// A new UUID of version 7, in the usual 36 characters. Those of one process ascend, even when the PC's clock
/// is set back.
std::string new_id();

/// SHA-256, in 64 hexadecimal digits.
std::string sha256_hex(std::string_view bytes);

}  // namespace t1station
