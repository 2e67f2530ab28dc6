// What a recording tells of the board on which it was made.
#pragma once

#include <string>

#include "boardrec/session/recording.h"
#include "boardsim/tool/learned.h"

namespace boardsim {

/// Takes out of a recording what a simulated board can take over.
Learned learn(const boardrec::Recording& recording);

/// Makes a folder from which `boardsim --state` starts a board of that family like the recorded one: what
/// learn() finds, and the partitions with the factory's records as far as the program read them. Throws
/// std::runtime_error, also for a folder that is there already.
void keep_learned(const boardrec::Recording& recording, const std::string& family, const std::string& folder);

}  // namespace boardsim
