// Virtual time, and the scheduler that moves it when every thread of the program waits.
#pragma once

#include <poll.h>
#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "boardsim/kernel/lock.h"
#include "boardsim/kernel/program.h"
#include "boardsim/kernel/time.h"

namespace boardsim {

/// The clock of one board. Its lock is the innermost: nothing else is locked while it is held, and events run
/// without it.
class Clock {
 public:
  Clock(Pace pace, double speed);
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  Time now() const;

  /// Waits, as poll(2) does, until one of `fds` is ready or virtual time reaches `deadline`. Returns what
  /// poll returns: the number of ready descriptors, 0 at the deadline, -1 with errno (EINTR). Called by a
  /// program thread that is Inside. The only place at which a thread can be cancelled: it then unwinds.
  int wait(std::span<pollfd> fds, std::optional<Time> deadline);
  /// Waits for virtual time alone. False when a signal came first.
  bool sleep_until(Time deadline) { return wait({}, deadline) == 0; }

  /// pthread_mutex_lock, pthread_mutex_unlock and pthread_join for program threads: time goes on while they
  /// wait, and a thread that is let in runs before time moves again.
  int lock_mutex(pthread_mutex_t* mutex);
  void mutex_unlocked(pthread_mutex_t* mutex);
  void wait_for_end(pthread_t thread);
  /// pthread_cancel was called for the thread: it runs until it has ended, before time moves again.
  void cancelled(pthread_t thread);

  void at(Time when, std::function<void()> event);
  bool advance(Time span);
  bool settle();

  /// Enters a program thread, counted as running from now on.
  std::shared_ptr<ProgramThread> add_thread(std::shared_ptr<BoardState> board);
  void set_handle(ProgramThread& thread, pthread_t handle);
  /// The thread ends; whoever joins it goes on.
  void remove_thread(ProgramThread& thread);
  /// Number of entered threads.
  int threads() const;

  /// The board is switched off: waits that are under way go on in real time.
  void stop();
  bool stopped() const { return stopped_.load(std::memory_order_acquire); }

 private:
  class Waiting;

  void set_running(ProgramThread& thread, bool running) BOARDSIM_LOCKS(requires_capability(mutex_));
  void wake(ProgramThread& thread) BOARDSIM_LOCKS(requires_capability(mutex_));
  void wake_all() BOARDSIM_LOCKS(requires_capability(mutex_));
  void run() BOARDSIM_LOCKS(requires_capability(mutex_));
  bool rest() BOARDSIM_LOCKS(requires_capability(mutex_));
  bool wake_ready() BOARDSIM_LOCKS(requires_capability(mutex_));
  void wake_due() BOARDSIM_LOCKS(requires_capability(mutex_));
  bool run_due_event() BOARDSIM_LOCKS(requires_capability(mutex_));
  int running_threads() const BOARDSIM_LOCKS(requires_capability(mutex_));
  std::optional<Time> next_due() const BOARDSIM_LOCKS(requires_capability(mutex_));
  void move_to(Time when) BOARDSIM_LOCKS(requires_capability(mutex_));
  std::chrono::nanoseconds real_time_until(Time when) const;
  int block(const ProgramThread& self, std::span<const pollfd> fds,
            std::optional<std::chrono::nanoseconds> timeout, bool cancellable)
      BOARDSIM_LOCKS(requires_capability(mutex_));
  void end_if_cancelled(const ProgramThread& self) BOARDSIM_LOCKS(requires_capability(mutex_));
  void release(const void* awaited) BOARDSIM_LOCKS(requires_capability(mutex_));
  ProgramThread* find(pthread_t thread) BOARDSIM_LOCKS(requires_capability(mutex_));

  const Pace pace_;
  const double speed_;
  const std::chrono::nanoseconds switched_on_;  ///< by the PC's clock
  mutable Mutex mutex_;
  std::condition_variable_any at_rest_;
  std::atomic<bool> stopped_{false};
  std::atomic<Time::rep> now_{0};
  std::atomic<int> mutex_waiters_{0};
  int running_ BOARDSIM_LOCKS(guarded_by(mutex_)) = 0;
  bool moving_ BOARDSIM_LOCKS(guarded_by(mutex_)) = false;  ///< a thread is moving time in run()
  std::multimap<Time, std::function<void()>> events_ BOARDSIM_LOCKS(guarded_by(mutex_));
  std::vector<std::shared_ptr<ProgramThread>> threads_ BOARDSIM_LOCKS(guarded_by(mutex_));
};

}  // namespace boardsim
