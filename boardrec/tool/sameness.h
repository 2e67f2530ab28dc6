// Whether two calls of two sessions are the same.
#pragma once

#include <string>

#include "boardrec/session/named_calls.h"

namespace boardrec {

/// What sets two calls apart whose texts are alike: which value, from which byte on, and the bytes of both.
/// Empty when nothing does. Numbers of descriptors, threads and ports, times and how much room a medium has
/// are any session's own, and set nothing apart.
std::string difference_of_values(const Record& a, const Record& b);

}  // namespace boardrec
