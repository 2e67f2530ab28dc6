// Recordings that the commands write.
#pragma once

#include <string>

#include "boardrec/session/recording.h"

namespace boardrec {

/// Writes a recording into a new file; what could not be written whole is removed. Only its
/// owner may read it. Throws Unwritable, also for a file that is there.
void write_recording(const Recording& recording, const std::string& file);

}  // namespace boardrec
