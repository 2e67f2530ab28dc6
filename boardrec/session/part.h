// A part that was cut out of a recording says so in a note of its own.
#pragma once

#include <cstddef>
#include <string>

#include "boardrec/session/recording.h"

namespace boardrec {

/// The text of the note in a part with the records `first` to `last` of a recording of `count` records. What
/// the part keeps of those before `first` stands before the note.
std::string note_of_part(std::size_t first, std::size_t last, std::size_t count);

/// How many records of the session before the recording's note of a part are not in it; 0 when its beginning
/// is there, or all of it.
std::size_t missing_at_the_beginning(const Recording& recording);

}  // namespace boardrec
