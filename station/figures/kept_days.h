// Days of a line in little room, in a file beside its records, so that a year need not be read anew.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "station/figures/digest.h"
#include "station/records/database.h"

namespace t1station {

/// The run that ended last, and so all that ended before it.
struct EndedSoFar {
  std::int64_t sequence = 0;
  std::string id, hash;
  bool operator==(const EndedSoFar&) const = default;
};

/// Whatever cannot be read or written is as if it were not kept: nothing is ever thrown, and nothing is lost
/// with the file.
class KeptDays {
 public:
  /// Makes the file when it is not there. All that is kept in it is of one moment.
  explicit KeptDays(const std::string& file);
  KeptDays(const KeptDays&) = delete;
  KeptDays& operator=(const KeptDays&) = delete;

  /// Up to which run days are kept; nothing when none are.
  std::optional<EndedSoFar> reach();
  /// A day ("2026-11-22"); false when it is not kept.
  bool load(const std::string& day, Digest& digest);

  /// Days reach up to this run now: those that are forgotten, or all, are no longer kept.
  void set_reach(const EndedSoFar& reach, const std::set<std::string>& forgotten, bool forget_all);
  /// A day as of that run.
  void keep(const std::string& day, const Digest& digest);
  /// Makes what was said since set_reach() last.
  void finish();

 private:
  void open();
  template <typename Doing>
  bool attempt(const Doing& doing);

  std::string file_;
  std::unique_ptr<Database> database_;
};

}  // namespace t1station
