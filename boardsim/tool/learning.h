// What a recording tells of the board on which it was made.
#pragma once

#include <string>

#include "boardrec/session/recording.h"

namespace boardsim {

/// Makes a folder from which `boardsim --state` starts a board of that family like the recorded one: what the
/// recording tells of it, and the partitions with the factory's records as far as the program read them.
/// Media that do not fit the family are left out, and there is no folder when nothing is left; both is said
/// on standard error. Throws std::runtime_error, also for a folder that is there already, and
/// std::out_of_range for partitions that do not fit; then nothing is left of the folder.
void keep_learned(const boardrec::Recording& recording, const std::string& family, const std::string& folder);

}  // namespace boardsim
