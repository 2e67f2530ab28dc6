// boardrec stats: what a recording has, in figures.
#pragma once

#include <cstdint>
#include <ostream>

#include "boardrec/session/recording.h"

namespace boardrec {

/// Writes the figures of a recording whose file has so many bytes.
void show_stats(const Recording& recording, std::uint64_t file_size, std::ostream& out);

}  // namespace boardrec
