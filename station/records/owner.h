// Who may write a records file: one process at a time.
#pragma once

#include <string>

namespace t1station {

/// Holds a lock on the file `FILE-owner`, in which it says who it is. The lock goes with the process, however
/// that ends; the file stays. Not on the records themselves, since closing them a second time in one process
/// would take SQLite's own locks away.
class Owner {
 public:
  /// Throws RecordsRefused, which names who has it; RecordsBroken when the lock's file cannot be made.
  explicit Owner(const std::string& file);
  ~Owner();
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;

 private:
  int lock_ = -1;
};

/// The name of this PC.
std::string host_name();

}  // namespace t1station
