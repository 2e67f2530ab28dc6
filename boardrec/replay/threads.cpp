// The program's threads and locks, in the order in which they were recorded.
#include <pthread.h>

#include <map>
#include <memory>

#include "boardrec/replay/next.h"
#include "boardrec/replay/turns.h"

using boardrec::Call;
using boardrec::Handed;
using boardrec::is_replayed;
using boardrec::next_answer;
using boardrec::Record;

namespace {

struct Start {
  void* (*function)(void*);
  void* argument;
  std::uint16_t thread;
};

/// The thread is the recorded one until it returns, exits or is cancelled.
class Membership {
 public:
  explicit Membership(std::uint16_t thread) { boardrec::begin_thread(thread); }
  ~Membership() { boardrec::end_thread(); }
  Membership(const Membership&) = delete;
  Membership& operator=(const Membership&) = delete;
};

void* run_thread(void* argument) {
  const auto start = *std::unique_ptr<Start>(static_cast<Start*>(argument));
  const Membership member(start.thread);
  return start.function(start.argument);
}

std::map<pthread_t, std::uint16_t>& threads() {
  static std::map<pthread_t, std::uint16_t> known;
  return known;
}

/// Its number in the recording, which has it at its turn; -1 for none of the program's.
int number_of(pthread_t thread) {
  const auto known = threads().find(thread);
  return known != threads().end() ? known->second : -1;
}

void same_thread(const Record& record, pthread_t thread) {
  const std::int64_t recorded = record.in.front().number;
  if (recorded != number_of(thread))
    boardrec::end_replay_at(record,
                            "the program means another thread than the recorded " + std::to_string(recorded));
}

void same_mutex(const Record& record, const pthread_mutex_t* mutex) {
  const std::int64_t recorded = record.in.front().number;
  const std::int64_t now = boardrec::number_of_mutex(mutex);
  if (recorded != now) {
    boardrec::end_replay_at(record, "the program means mutex " + std::to_string(now) +
                                        " where the recorded one had " + std::to_string(recorded));
  }
}

/// A lock is taken at its turn: nobody else can have it then.
int at_its_turn(Call call, pthread_mutex_t* mutex, int (*behind)(pthread_mutex_t*)) {
  const auto take = [&](const Record& recorded) {
    same_mutex(recorded, mutex);
    if (recorded.result == 0) behind(mutex);
  };
  return static_cast<int>(next_answer(call, {Handed{}}, take).result);
}

}  // namespace

extern "C" {

int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
  static auto* const behind = boardrec::next<decltype(pthread_create)>("pthread_create");
  if (!is_replayed()) return behind(handle, attributes, function, argument);
  int result = 0;
  next_answer(Call::pthread_create, {}, [&](const Record& record) {
    result = static_cast<int>(record.result);
    if (result != 0) return;
    const auto thread = static_cast<std::uint16_t>(record.out.front().number);
    auto start = std::make_unique<Start>(function, argument, thread);
    if (behind(handle, attributes, run_thread, start.get()) != 0)
      boardrec::fail_replay("this PC has no room for a thread");
    static_cast<void>(start.release());
    threads()[*handle] = thread;
  });
  return result;
}

int pthread_join(pthread_t thread, void** value) {
  static auto* const behind = boardrec::next<decltype(pthread_join)>("pthread_join");
  if (!is_replayed()) return behind(thread, value);
  {
    const boardrec::Within within;
    behind(thread, value);
  }
  const auto forget = [&](const Record& recorded) {
    same_thread(recorded, thread);
    threads().erase(thread);
  };
  return static_cast<int>(next_answer(Call::pthread_join, {Handed{}}, forget).result);
}

int pthread_cancel(pthread_t thread) {
  static auto* const behind = boardrec::next<decltype(pthread_cancel)>("pthread_cancel");
  if (!is_replayed()) return behind(thread);
  {
    const boardrec::Within within;
    behind(thread);  // its last records may stand before the one of this call
  }
  const auto compare = [&](const Record& recorded) { same_thread(recorded, thread); };
  return static_cast<int>(next_answer(Call::pthread_cancel, {Handed{}}, compare).result);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static auto* const behind = boardrec::next<decltype(pthread_mutex_lock)>("pthread_mutex_lock");
  return is_replayed() ? at_its_turn(Call::pthread_mutex_lock, mutex, behind) : behind(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static auto* const behind = boardrec::next<decltype(pthread_mutex_unlock)>("pthread_mutex_unlock");
  return is_replayed() ? at_its_turn(Call::pthread_mutex_unlock, mutex, behind) : behind(mutex);
}

}  // extern "C"
