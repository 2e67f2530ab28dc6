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
  Wish wish{storing, nullptr};
  std::vector<Wish*> wishes;
  {
    std::unique_lock lock(mutex_);
    waiting_.push_back(&wish);
    done_.wait(lock, [&] { return wish.is_done || !is_storing_; });
    if (!wish.is_done) {
      is_storing_ = true;
      wishes = std::exchange(waiting_, {});
    }
  }
  if (!wishes.empty()) {
    store_all(wishes);
    const std::lock_guard lock(mutex_);
    for (Wish* stored : wishes) stored->is_done = true;
    is_storing_ = false;
    done_.notify_all();
  }
  if (wish.error) std::rethrow_exception(wish.error);
}

void CommonCommit::store_all(const std::vector<Wish*>& wishes) {
  try {
    in_transaction_([&](Database& database) {
      if (wishes.size() == 1) return wishes.front()->storing(database);
      for (Wish* wish : wishes) {
        try {
          store_apart(database, wish->storing);
        } catch (const SqlError&) {
          throw;
        } catch (...) {
          wish->error = std::current_exception();
        }
      }
    });
  } catch (...) {
    for (Wish* wish : wishes) wish->error = std::current_exception();
  }
}

}  // namespace t1station
