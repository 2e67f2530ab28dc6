// The recording that a program is to meet, or to be compared with.
#pragma once

#include <string>

#include "boardrec/session/recording.h"

namespace boardsim {

/// Reads a recording for `program`, which may be empty. That it is another program's, by the name of its
/// file, is said on standard error. Throws boardrec::Unreadable, and std::invalid_argument for a recording in
/// which no program asked for anything, or whose beginning was cut away.
boardrec::Recording read_session(const std::string& file, const std::string& program);

}  // namespace boardsim
