// Tells an MQTT broker of the plant's what the line's slots do, and how their runs ended.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "station/line/line.h"
#include "station/line/line_file.h"
#include "station/records/records.h"

namespace t1station {

/// Publishes in a thread of its own, and takes nothing from the broker. An outage is an event in the records,
/// once, and a line of the log for each new reason; after it the broker gets what is so then.
class Mqtt {
 public:
  /// `file` has an [mqtt]. `line` is shown how the broker is; `log` is called from a thread of its own. All
  /// must outlive it. Throws RecordsRefused when these are no records.
  Mqtt(const LineFile& file, Line& line, Records& records, std::function<void(const std::string&)> log);
  /// Tells the broker how things are now, and that the station is off. Ends within half a second, whatever
  /// the broker does.
  ~Mqtt();
  Mqtt(const Mqtt&) = delete;
  Mqtt& operator=(const Mqtt&) = delete;

  /// The line may have changed. Waits for nothing.
  void wake();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace t1station
