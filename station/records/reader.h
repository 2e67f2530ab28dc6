// Reading records, also beside the process that writes them.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "station/records/rows.h"
#include "station/records/run_filter.h"

namespace t1station {

class Database;

/// Opens a file for reading only: no other connection is disturbed, and nothing is written into it. Reading
/// fails once `stop`, where there is one, is true. Throws RecordsRefused when these are no records.
std::unique_ptr<Database> open_for_reading(const std::string& file, const std::atomic<bool>* stop = nullptr);

/// A time or a date as records write it, "2026-11-22T03:17:12.345Z": a date is its midnight, in UTC. Seconds
/// and thousandths may be left out, and a distance from UTC may stand for the Z: "2026-11-22T11:17+08:00".
/// Nothing for anything else.
std::optional<std::string> whole_time(std::string_view word);

/// A run of a check unit.
struct CheckRun {
  std::string id, serial, verdict, ended;
};

/// The check runs that say which runs of a slot are suspect.
struct SuspectChecks {
  std::optional<CheckRun> wrong;  ///< the last one with a wrong result; nothing: none was ever wrong
  std::optional<CheckRun> good;   ///< what completed the check before it, or the last one; nothing: none did
};

/// What happened in a slot before this station started.
struct SlotHistory {
  std::optional<StoredRun>
      unacknowledged;  ///< whole: the last run, where it did not pass and nobody has seen it
  std::optional<std::string> lock_reason;  ///< of a lock that nobody has taken away
  std::string unlocked;                    ///< when it was unlocked last; empty: never
  std::vector<CheckRun> checks;            ///< in the order in which they ended
};

/// Runs by verdict.
struct RunCounts {
  std::int64_t runs = 0, passed = 0, failed = 0, error = 0;
  std::optional<double> first_pass_yield;  ///< from 0 to 1; nothing without units
};

/// Numbers by slot and by how something ended.
using SlotCounts = std::map<std::pair<std::string, std::string>, std::int64_t>;

/// How many runs ended in each slot, and their attempts.
struct EndCounts {
  std::int64_t last = 0;  ///< sequence of the last run that is counted here
  SlotCounts runs, attempts;
};

/// Reads one file, as it stands at each call.
class RecordsReader {
 public:
  /// Reading fails once `stop`, where there is one, is true. Throws RecordsRefused when these are no records.
  explicit RecordsReader(const std::string& file, const std::atomic<bool>* stop = nullptr);
  ~RecordsReader();
  RecordsReader(const RecordsReader&) = delete;
  RecordsReader& operator=(const RecordsReader&) = delete;

  /// Calls for each run, oldest first, without its connections and attempts. Throws RecordsBroken when the
  /// file cannot be read.
  void for_each_row(const RunFilter& filter, const std::function<void(const StoredRun&)>& call);
  /// The same with all that belongs to the run.
  void for_each(const RunFilter& filter, const std::function<void(const StoredRun&)>& call);
  /// The first serial numbers in which a text stands, as capitals or as small letters, sorted; at most
  /// `most`.
  std::vector<std::string> serials_with(std::string_view part, std::size_t most);
  /// One whole run; nothing when there is none.
  std::optional<StoredRun> run(std::string_view id);
  /// The whole run that ended as number `sequence`; nothing when there is none.
  std::optional<StoredRun> ended_run(std::int64_t sequence);
  /// The hash of the run that ended last; nothing when none has.
  std::optional<std::string> head();
  /// The sequence of that run; 0 when none has.
  std::int64_t last_sequence();
  /// Adds the runs that ended behind `counts.last`: what was counted once is not looked at again.
  void count(EndCounts& counts);
  /// Calls with each production run of a slot, without its attempts, that ended between its last wrong check
  /// and the check before, or, where no check was ever wrong, since its last one: units that a bad fixture
  /// may have let pass. Returns these checks; nothing when the slot was never checked.
  std::optional<SuspectChecks> suspects(std::string_view slot,
                                        const std::function<void(const StoredRun&)>& call);
  /// The run that ended last in a slot of a station, without its connections and attempts; nothing when none
  /// has.
  std::optional<StoredRun> last_ended(std::string_view station, std::string_view slot);
  /// What is known of a slot of a station.
  SlotHistory slot_history(std::string_view station, std::string_view slot);
  /// Production runs that ended since `from`, and the first-pass yield of the units that began since then.
  RunCounts counts_since(std::string_view from);

 private:
  void go_through(RunFilter filter, bool whole, const std::function<void(const StoredRun&)>& call);
  template <typename Reading>
  auto reading(const Reading& read);

  std::string file_;
  std::unique_ptr<Database> database_;
};

}  // namespace t1station
