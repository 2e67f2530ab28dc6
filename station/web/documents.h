// What the server tells of the line, as JSON and as figures for a monitoring system.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "station/line/line.h"
#include "station/records/reader.h"

namespace t1station {

/// The line as a JSON object, again and again: slots that are as they were are not written anew.
class LineDocument {
 public:
  /// Without its time: two that are alike say that nothing has changed.
  std::string text(const LineView& line);

 private:
  struct Written {
    SlotView slot;
    std::string text;
  };
  std::vector<Written> slots_;
};

/// The same with the time, "2026-11-22T03:17:12.345Z", in front.
std::string with_time(const std::string& document, const std::string& time);

/// Runs as a JSON object {"runs": [...]}, without their attempts.
std::string runs_document(const std::vector<StoredRun>& runs);

/// Figures in the text format of Prometheus. `streams` are the open streams of events.
std::string metrics_text(const LineView& line, const EndCounts& counts, std::size_t streams);

}  // namespace t1station
