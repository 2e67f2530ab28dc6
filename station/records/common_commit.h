// What several threads want to store at the same time goes to the disk together: one sync for all of them.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <vector>

#include "station/records/database.h"

namespace t1station {

/// Whoever comes while nobody stores does so for all who wait by then; the next one for those who came
/// meanwhile.
class CommonCommit {
 public:
  using Storing = std::function<void(Database&)>;
  /// Runs something in one transaction. Throws when that cannot be committed.
  using InTransaction = std::function<void(const Storing&)>;

  explicit CommonCommit(InTransaction in_transaction) : in_transaction_(std::move(in_transaction)) {}

  /// Returns when what `storing` writes is on the disk. When it throws anything but SqlError, that is thrown
  /// here and nothing of it is stored; nobody else is the worse for it. Throws what the transaction throws,
  /// to all who wait.
  void store(const Storing& storing);

 private:
  struct Entry {
    const Storing& storing;
    std::exception_ptr error;
    bool is_done = false;
  };

  void store_all(const std::vector<Entry*>& entries);

  InTransaction in_transaction_;
  std::mutex mutex_;
  std::condition_variable done_;
  bool is_storing_ = false;
  std::vector<Entry*> waiting_;
};

}  // namespace t1station
