// The way of a station's runs and events into the central database, over one connection.
#pragma once

#include <cstdint>
#include <string>

#include "station/central/outbox.h"
#include "station/central/postgres.h"
#include "station/records/records.h"

namespace t1station {

/// Each run goes whole, in one transaction, in the order in which runs ended, with the events that were
/// stored before it ended. Throws CentralTrouble, CentralStopped, SqlError, RecordsBroken.
class Delivery {
 public:
  /// Asks the database how far this station's chain is there, and remembers what is there as forwarded.
  /// Throws CentralTrouble when what is there is not what this file holds. All must outlive it.
  Delivery(Outbox& outbox, Postgres& database, Records& records);

  /// Sends what is left, for a moment, and remembers the runs as forwarded. Returns whether anything went;
  /// nothing is left then when nothing did.
  bool send_some();

  /// The sequence of the last run that is there.
  std::int64_t runs() const { return runs_; }
  /// How many runs went since this was made.
  std::int64_t sent() const { return sent_; }

 private:
  std::int64_t last_there(const std::string& table);
  bool send_next();
  void send_run(std::int64_t sequence);
  bool send_events();
  void remember();
  [[noreturn]] void explain(const OutgoingRun& run, const CentralTrouble& trouble);

  Outbox& outbox_;
  Postgres& database_;
  Records& records_;
  std::int64_t runs_ = 0, events_ = 0, sent_ = 0;  ///< sequences of what is there; runs that went
  std::int64_t remembered_ = 0;
};

/// Sends all that is left of a file, whose writer `records` is. Returns how many runs went.
std::int64_t forward_all(const std::string& url, const std::string& file, Records& records,
                         const CentralPatience& patience, int stop);

}  // namespace t1station
