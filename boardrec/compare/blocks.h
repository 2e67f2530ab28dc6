// Blocks of a storage test, which writes other numbers each time that it runs.
#pragma once

#include "boardrec/session/recording.h"

namespace boardrec {

/// The recording with the long blocks that were written to files on media, and read there, numbered in the
/// order in which they first came since it was mounted: what a test reads is held against what it wrote, not
/// against what another run of it wrote.
Recording with_numbered_blocks(const Recording& recording);

}  // namespace boardrec
