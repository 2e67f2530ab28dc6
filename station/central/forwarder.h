// Brings a line's runs into the central database while the line goes on, whatever that database does.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "station/central/central_state.h"
#include "station/central/postgres.h"
#include "station/records/records.h"

namespace t1station {

/// How long a forwarder waits for what.
struct ForwarderTimes {
  CentralPatience patience;
  /// Between two tries in an outage: the first pause, doubled each time up to the longest one.
  std::chrono::milliseconds first_pause{500}, longest_pause{30'000};
};

/// Sends in a thread of its own. An outage is an event in the records, once, and a line of the log for each
/// new reason.
class Forwarder {
 public:
  struct Told {
    std::function<void(const CentralState&)> state;  ///< called whenever that has changed
    std::function<void(const std::string&)> log;
  };

  /// `file` is the records' file. Both functions are called from the forwarder's thread; they and `records`
  /// must outlive it. Throws RecordsRefused when these are no records, UsageError for a bad URL.
  Forwarder(const std::string& url, const std::string& file, Records& records, Told told,
            const ForwarderTimes& times = {});
  /// Ends within a second, whatever it waits for, unless the disk under the records takes longer.
  ~Forwarder();
  Forwarder(const Forwarder&) = delete;
  Forwarder& operator=(const Forwarder&) = delete;

  /// Something may have been stored. Waits for nothing.
  void wake();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace t1station
