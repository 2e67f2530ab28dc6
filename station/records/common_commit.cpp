#include "station/records/common_commit.h"

#include <utility>

namespace t1station {
namespace {

// Undoes what was begun here when it throws, and nothing that came before in the same transaction.
void store_apart(Database& database, const CommonCommit::Storing& storing) {
  database.execute("SAVEPOINT one");
  try {
    storing(database);
  } catch (const SqlError&) {
    throw;  // it ends the whole transaction
  } catch (...) {
    database.execute("ROLLBACK TO one; RELEASE one");
    throw;
  }
  database.execute("RELEASE one");
}

}  // namespace

void CommonCommit::store(const Storing& storing) {
  Entry entry{storing, nullptr};
  std::vector<Entry*> entries;
  {
    std::unique_lock lock(mutex_);
    waiting_.push_back(&entry);
    done_.wait(lock, [&] { return entry.is_done || !is_storing_; });
    if (!entry.is_done) {
      is_storing_ = true;
      entries = std::exchange(waiting_, {});
    }
  }
  if (!entries.empty()) {
    store_all(entries);
    const std::lock_guard lock(mutex_);
    for (Entry* stored : entries) stored->is_done = true;
    is_storing_ = false;
    done_.notify_all();
  }
  if (entry.error) std::rethrow_exception(entry.error);
}

void CommonCommit::store_all(const std::vector<Entry*>& entries) {
  try {
    in_transaction_([&](Database& database) {
      if (entries.size() == 1) return entries.front()->storing(database);
      for (Entry* entry : entries) {
        try {
          store_apart(database, entry->storing);
        } catch (const SqlError&) {
          throw;
        } catch (...) {
          entry->error = std::current_exception();
        }
      }
    });
  } catch (...) {
    for (Entry* entry : entries) entry->error = std::current_exception();
  }
}

}  // namespace t1station
