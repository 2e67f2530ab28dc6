// Threads of the program: entered with the clock, and never in its way while they wait for each other.
#include <pthread.h>

#include <memory>
#include <system_error>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"

using boardsim::Entered;
using boardsim::ProgramThread;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

namespace {

struct Start {
  void* (*function)(void*);
  void* argument;
  std::shared_ptr<ProgramThread> thread;
};

void leave(ProgramThread& thread) {
  const boardsim::Inside inside;
  if (!thread.board->clock.stopped()) calls::thread_event(*thread.board, "thread ended");
  thread.board->clock.remove_thread(thread);
}

/// Null when the PC has no descriptor left for it.
std::shared_ptr<ProgramThread> add_thread(const Entered& board) {
  try {
    return board->clock.add_thread(boardsim::this_thread()->board);
  } catch (const std::system_error&) {
    return nullptr;
  }
}

/// The thread is the program's for as long as this lives: until it returns, exits or is cancelled.
class Membership {
 public:
  explicit Membership(std::shared_ptr<ProgramThread> thread) : thread_(std::move(thread)) {
    boardsim::set_this_thread(thread_.get());
    const boardsim::Inside inside;
    thread_->board->clock.set_handle(*thread_, pthread_self());
  }
  ~Membership() {
    boardsim::set_this_thread(nullptr);
    leave(*thread_);
  }
  Membership(const Membership&) = delete;
  Membership& operator=(const Membership&) = delete;

 private:
  std::shared_ptr<ProgramThread> thread_;
};

void* run_thread(void* argument) {
  std::unique_ptr<Start> start(static_cast<Start*>(argument));
  const Membership member(std::move(start->thread));
  const auto function = start->function;
  void* const its_argument = start->argument;
  start.reset();
  return function(its_argument);
}

}  // namespace

extern "C" {

int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept {
  const Entered board;
  if (!board) return real::pthread_create(handle, attributes, function, argument);
  if (const int error = calls::thread_error(*board)) return error;
  // Entered before it runs, so that time cannot pass it by.
  const auto thread = add_thread(board);
  if (!thread) return EAGAIN;
  auto start = std::make_unique<Start>(function, argument, thread);
  calls::thread_event(*board, "thread started");
  const int error = real::pthread_create(handle, attributes, run_thread, start.get());
  if (error != 0) {
    calls::thread_event(*board, "thread ended");
    board->clock.remove_thread(*thread);
    return error;
  }
  static_cast<void>(start.release());
  board->clock.set_handle(*thread, *handle);
  return 0;
}

int pthread_join(pthread_t thread, void** result) {
  if (const Entered board; board) board->clock.wait_for_end(thread);
  return real::pthread_join(thread, result);
}

int pthread_cancel(pthread_t thread) {
  const Entered board;
  const int error = real::pthread_cancel(thread);
  if (board && error == 0) board->clock.cancelled(thread);
  return error;
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  if (boardsim::answering_board() == nullptr) return real::pthread_mutex_lock(mutex);
  const int result = real::pthread_mutex_trylock(mutex);
  if (result != EBUSY) return result;
  const Entered board;
  return board->clock.lock_mutex(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  const int result = real::pthread_mutex_unlock(mutex);
  if (const Entered board; board) board->clock.mutex_unlocked(mutex);
  return result;
}

}  // extern "C"
