// boardrec cut: a part of a recording.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "boardrec/session/recording.h"

namespace boardrec {

/// Where a part begins or ends: at a record of this number, or at those that began then.
struct CutPlace {
  std::optional<std::size_t> record;
  std::optional<double> seconds;
};

/// Reads "120" as the record of this number, "2.5s" as seconds. Throws UsageError for anything else.
CutPlace cut_place(const std::string& text);

/// The part from one place up to another, that one not included, as a recording: its start and what opened
/// the descriptors and threads that it uses stand before it, behind the start a note says what it was cut
/// from. Throws UsageError when nothing is left.
Recording cut(const Recording& recording, const std::optional<CutPlace>& from,
              const std::optional<CutPlace>& to);

/// How many blocks stand as digest of which the part does not have the bytes: those were cut away.
std::size_t lost_blocks(const Recording& whole, const Recording& part);

}  // namespace boardrec
