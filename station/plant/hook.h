// Tells a program of the plant's of each run that ends.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "station/line/line_file.h"
#include "station/records/records.h"

namespace t1station {

/// Runs the command for each run that ends as long as this is there, one after the other in the order in
/// which they ended, in a thread of its own. What fails is an event of that run, and is not tried again.
class Hook {
 public:
  /// `records_file` is read, `records` gets the events; `log` is called from the hook's thread with a line
  /// for each failure. All must outlive it. Throws RecordsRefused when these are no records.
  Hook(const HookFile& hook, const std::string& records_file, Records& records,
       std::function<void(const std::string&)> log);
  /// Ends a command that runs.
  ~Hook();
  Hook(const Hook&) = delete;
  Hook& operator=(const Hook&) = delete;

  /// A run may have ended. Waits for nothing.
  void wake();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace t1station
