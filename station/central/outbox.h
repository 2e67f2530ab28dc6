// What a station's file holds for the central database, in the order in which it goes there.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "station/records/chain.h"
#include "station/records/database.h"

namespace t1station {

/// An ended run, whole.
struct OutgoingRun {
  Row plan;      ///< `id`, `name`, `version`, `text`
  RunRows rows;  ///< without the hash
  std::string id, hash;
};

/// Reads beside the process that writes. All members throw SqlError.
class Outbox {
 public:
  /// Throws RecordsRefused when these are no records.
  explicit Outbox(const std::string& file);

  /// What tells this file's chain from those of other stations: the id of its first event.
  const std::string& chain() const { return chain_; }
  /// The sequence of the run that ended last, and of the last event; 0 without any.
  std::int64_t last_run();
  std::int64_t last_event();
  /// The sequence of the last run that is remembered as forwarded; 0 when none is.
  std::int64_t last_forwarded();
  /// The hash of the run or event of that sequence; nothing when there is none.
  std::optional<std::string> run_hash(std::int64_t sequence);
  std::optional<std::string> event_hash(std::int64_t sequence);

  /// The run of that sequence, which must be there.
  OutgoingRun run(std::int64_t sequence);
  /// Ids of the runs of these sequences, both included, that are not remembered as forwarded.
  std::vector<std::string> not_forwarded(std::int64_t from, std::int64_t to);
  /// Events behind this one, with their hashes, in their order: as far as they were stored while no more than
  /// `ended_before` runs had ended, and none speaks of a run that is not among the first `runs`.
  std::vector<Row> events(std::int64_t behind, std::int64_t ended_before, std::int64_t runs);

 private:
  std::unique_ptr<Database> database_;
  std::string chain_;
};

}  // namespace t1station
