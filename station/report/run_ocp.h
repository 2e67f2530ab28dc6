// Stored runs as the open test-and-validation output, version 2.0: JSON objects, one a line.
#pragma once

#include <cstdint>
#include <string>

#include "station/records/rows.h"

namespace t1station {

/// Writes runs one behind the other: one numbering for all lines, the schema's version in the first. A test
/// run is a run, a test step is one attempt.
class OcpWriter {
 public:
  /// The first line.
  std::string header();
  /// The lines of a run. One without an end has no testRunEnd.
  std::string run(const StoredRun& run);

 private:
  std::int64_t next_ = 0;  // sequenceNumber
};

}  // namespace t1station
