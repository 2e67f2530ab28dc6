// What programs hand in with requests of ioctl(2).
#pragma once

#include <cstdint>
#include <vector>

#include "boardrec/session/recording.h"

namespace boardrec {

/// The 32-bit words that a program handed in: those of its record that the driver looks at. Of a request that
/// nobody here knows all; none for a null pointer.
std::vector<std::uint32_t> words_in(std::uint32_t request, const Value& record);

}  // namespace boardrec
