// Threads of the program and their locks.
#include <pthread.h>

#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/session.h"

using boardrec::Call;
using boardrec::Entry;

BOARDREC_NEXT(pthread_create);
BOARDREC_NEXT(pthread_join);
BOARDREC_NEXT(pthread_cancel);
BOARDREC_NEXT(pthread_mutex_lock);
BOARDREC_NEXT(pthread_mutex_unlock);

namespace {

/// A thread between its creation and its first line.
struct Start {
  enum State : std::uint32_t { free, created, recorded };
  std::uint32_t state;
  void* (*function)(void*);
  void* argument;
  int number;
};

constexpr int kLastNumber = 0xFFFF;
constinit Start starts[64]{};
constinit int last_number = 0;

/// A place for a thread that begins now, with its number; null when there is none. The lock is held.
Start* take_start(void* (*function)(void*), void* argument) {
  for (Start& start : starts) {
    if (start.state != Start::free || last_number == kLastNumber) continue;
    start = {Start::created, function, argument, ++last_number};
    return &start;
  }
  return nullptr;
}

void thread_ended(void*) {
  boardrec::this_thread.depth = 0;
  Entry entry(Call::thread_ended);
  if (entry) entry.end(0);
  boardrec::this_thread.number = -1;
}

void* run_thread(void* argument) {
  auto& start = *static_cast<Start*>(argument);
  // Its creation stands before its first call: no reader has to guess which of two threads is which.
  while (__atomic_load_n(&start.state, __ATOMIC_ACQUIRE) == Start::created)
    boardrec::kernel::wait_on(&start.state, Start::created);
  const Start own = start;
  __atomic_store_n(&start.state, Start::free, __ATOMIC_RELEASE);
  boardrec::this_thread = {own.number, 0};
  void* result = nullptr;
  pthread_cleanup_push(thread_ended, nullptr);
  result = own.function(own.argument);
  pthread_cleanup_pop(1);
  return result;
}

/// The calls of a thread that cannot be numbered are not recorded, which a note says.
int create_unrecorded(Entry& entry, pthread_t* thread, const pthread_attr_t* attributes,
                      void* (*function)(void*), void* argument) {
  const int result = entry.make([=] { return next_pthread_create(thread, attributes, function, argument); });
  {
    const boardrec::kernel::Locked lock(boardrec::shared);
    boardrec::write_note("a thread is not recorded: there are too many", boardrec::now());
  }
  return entry.end_with_number(result);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
  Entry entry(Call::pthread_create);
  if (!entry) return next_pthread_create(thread, attributes, function, argument);
  boardrec::shared.take();
  Start* const start = take_start(function, argument);
  boardrec::shared.give();
  if (start == nullptr) return create_unrecorded(entry, thread, attributes, function, argument);
  const int number = start->number;
  const int result = entry.make([=] { return next_pthread_create(thread, attributes, run_thread, start); });
  {
    const boardrec::kernel::Locked lock(boardrec::shared);
    if (result == 0) {
      boardrec::thread_created(*thread, number);
      entry.out(number);
    } else if (number == last_number) {
      --last_number;
    }
    entry.write_locked(result, result);
    __atomic_store_n(&start->state, result == 0 ? Start::recorded : Start::free, __ATOMIC_RELEASE);
  }
  if (result == 0) boardrec::kernel::wake(&start->state, 1);
  entry.leave();
  return result;
}

int pthread_join(pthread_t thread, void** value) {
  Entry entry(Call::pthread_join);
  if (!entry) return next_pthread_join(thread, value);
  boardrec::shared.take();
  const int number = boardrec::thread_number(thread);
  boardrec::shared.give();
  number >= 0 ? entry.in(number) : entry.in_absent();
  const int result = entry.make_cancellable([=] { return next_pthread_join(thread, value); });
  const boardrec::kernel::Locked lock(boardrec::shared);
  if (result == 0 && boardrec::thread_number(thread) == number) boardrec::thread_joined(thread);
  entry.write_locked(result, result);
  entry.leave();
  return result;
}

int pthread_cancel(pthread_t thread) {
  Entry entry(Call::pthread_cancel);
  if (!entry) return next_pthread_cancel(thread);
  boardrec::shared.take();
  const int number = boardrec::thread_number(thread);
  boardrec::shared.give();
  number >= 0 ? entry.in(number) : entry.in_absent();
  return entry.end_with_number(entry.make([=] { return next_pthread_cancel(thread); }));
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  Entry entry(Call::pthread_mutex_lock);
  if (!entry) return next_pthread_mutex_lock(mutex);
  const int result = entry.make([=] { return next_pthread_mutex_lock(mutex); });
  const boardrec::kernel::Locked lock(boardrec::shared);
  const std::uint32_t number = boardrec::mutex_number(mutex);
  number > 0 ? entry.in(number) : entry.in_absent();
  entry.write_locked(result, result);
  entry.leave();
  return result;
}

// Recorded before it is let go: nobody else's lock comes before it in the recording.
int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  Entry entry(Call::pthread_mutex_unlock);
  if (!entry) return next_pthread_mutex_unlock(mutex);
  {
    const boardrec::kernel::Locked lock(boardrec::shared);
    const std::uint32_t number = boardrec::mutex_number(mutex);
    number > 0 ? entry.in(number) : entry.in_absent();
    entry.write_locked(0, 0);
  }
  const int result = entry.make([=] { return next_pthread_mutex_unlock(mutex); });
  entry.leave();
  return result;
}

}  // extern "C"
#pragma GCC visibility pop
