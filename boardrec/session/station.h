// What the test station asked in a recorded session, and what it was told.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "boardrec/session/named_calls.h"

namespace boardrec {

/// One request of the station.
struct StationRequest {
  std::size_t call = 0;                ///< of the calls: the one that received its end
  std::size_t connection = 0;          ///< from 1
  std::optional<std::int64_t> code{};  ///< none: no document that names a test
  std::string parameter{};             ///< as it stands in the document; empty without one
  /// The board's answer to it: "Pass", "Fail"; empty when none came before the next request.
  std::string value{};
  std::uint64_t answered = 0;  ///< when that was sent, nanoseconds since recording began
};

/// What the request is called by people: the test's code with its parameter, or that it ends the connection.
std::string name_of(const StationRequest& request);

/// The requests of all connections, in the order in which they came. What cannot be read as the station's
/// protocol has it, or is not in the recording, ends a connection's requests.
std::vector<StationRequest> station_requests(const std::vector<NamedCall>& calls);

}  // namespace boardrec
