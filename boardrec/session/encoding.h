// A recording as the bytes of a file.
#pragma once

#include <string>

#include "boardrec/session/recording.h"

namespace boardrec {

/// A header's bytes, with its checksum put right.
std::string bytes_of(Header header);
/// A record's bytes, its frame in front. Throws std::length_error for one that no frame can hold.
std::string bytes_of(const Record& record);

/// A value of each type.
Value number_value(std::int64_t number);
Value bytes_value(std::string bytes);

/// digest() of such bytes.
std::uint64_t digest_of(std::string_view bytes);

}  // namespace boardrec
