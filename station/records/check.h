// Whether records are still what they were when they were written.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace t1station {

/// What a check found.
struct CheckReport {
  std::vector<std::string> findings;  ///< one line each; none: all is well
  std::vector<std::string> notes;     ///< runs without an end, which are no findings
  std::int64_t runs = 0, events = 0;  ///< that were looked at
};

/// Looks at everything in a file, which may be in use: the database's own integrity, the schema with its
/// triggers, references, every plan's id, every hash, the order of runs and events, and that each pass is
/// one. `head`: a hash that must be in the chain. Throws RecordsRefused when these are no records at all.
CheckReport check_records(const std::string& file, const std::optional<std::string>& head = std::nullopt);

}  // namespace t1station
