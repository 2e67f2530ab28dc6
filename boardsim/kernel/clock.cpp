#include "boardsim/kernel/clock.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <stdexcept>

#include "boardsim/kernel/invariant.h"
#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

constexpr auto kPatience = std::chrono::seconds(30);  // of the PC's time, until a program must be at rest
// A mutex can be let go by a thread that is not the program's; nobody tells then.
constexpr auto kMutexLook = std::chrono::milliseconds(20);

/// ppoll straight from the C library: a cancelled thread unwinds out of it, and must not unwind through a
/// sanitizer's wrapper.
int cancellable_ppoll(pollfd* fds, nfds_t count, const timespec* timeout) {
  using Ppoll = int(pollfd*, nfds_t, const timespec*, const sigset_t*);
  static auto* const function = reinterpret_cast<Ppoll*>(dlsym(dlopen("libc.so.6", RTLD_NOW), "ppoll"));
  return function(fds, count, timeout, nullptr);
}

/// The PC's own clock, whatever time the calling thread is given.
std::chrono::nanoseconds pc_time() {
  timespec now{};
  real::clock_gettime(CLOCK_MONOTONIC, &now);
  return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

timespec to_timespec(std::chrono::nanoseconds span) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(span);
  return {static_cast<time_t>(seconds.count()), static_cast<long>((span - seconds).count())};
}

/// While one lives, the thread can be cancelled as far as the program itself allows it.
class Cancellable {
 public:
  explicit Cancellable(const ProgramThread& thread) {
    pthread_setcancelstate(thread.cancel_state, &ignored_);
  }
  ~Cancellable() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored_); }
  Cancellable(const Cancellable&) = delete;
  Cancellable& operator=(const Cancellable&) = delete;

 private:
  int ignored_ = 0;
};

void drain(int wake_fd) {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto ignored = real::read(wake_fd, &count, sizeof count);
}

}  // namespace

/// A thread inside a wait; however it leaves, by cancellation too, it is running again.
class Clock::Waiting {
 public:
  Waiting(Clock& clock, ProgramThread& self) : clock_(clock), self_(self) {}
  ~Waiting() BOARDSIM_LOCKS(no_thread_safety_analysis) {  // it lives where the lock is held
    clock_.set_running(self_, true);
    self_.fds.clear();
    self_.deadline.reset();
    self_.blocked_on = nullptr;
    drain(self_.wake_event.get());
  }
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;

 private:
  Clock& clock_;
  ProgramThread& self_;
};

Clock::Clock(Pace pace, double speed) : pace_(pace), speed_(speed), switched_on_(pc_time()) {
  if (!(speed > 0) || !std::isfinite(speed)) throw std::invalid_argument("boardsim: speed must be above 0");
}

Time Clock::now() const {
  if (pace_ != Pace::scaled) return Time(now_.load(std::memory_order_acquire));
  const std::chrono::duration<double, std::micro> elapsed = pc_time() - switched_on_;
  return Time(static_cast<Time::rep>(elapsed.count() * speed_));
}

// ---- the state of threads; the lock is held ---------------------------------------------------------------

void Clock::set_running(ProgramThread& thread, bool running) {
  if (thread.running == running) return;
  thread.running = running;
  running_ += running ? 1 : -1;
  invariant(running_ >= 0, "no fewer than no thread run");
  if (!running) at_rest_.notify_all();
}

void Clock::wake(ProgramThread& thread) {
  set_running(thread, true);
  constexpr std::uint64_t one = 1;
  [[maybe_unused]] const auto ignored = real::write(thread.wake_event.get(), &one, sizeof one);
}

void Clock::wake_all() {
  for (const auto& thread : threads_) {
    if (!thread->running) wake(*thread);
  }
}

ProgramThread* Clock::find(pthread_t thread) {
  const auto found = std::ranges::find_if(threads_, [&](const auto& entry) {
    return entry->started && pthread_equal(entry->handle, thread) != 0;
  });
  return found == threads_.end() ? nullptr : found->get();
}

// ---- moving time; the lock is held ------------------------------------------------------------------------

/// Sets every thread running for which a descriptor is ready. False when there is none.
bool Clock::wake_ready() {
  bool any = false;
  for (const auto& thread : threads_) {
    if (thread->running || thread->fds.empty()) continue;
    if (real::poll(thread->fds.data(), thread->fds.size(), 0) == 0) continue;
    wake(*thread);
    any = true;
  }
  return any;
}

void Clock::wake_due() {
  for (const auto& thread : threads_) {
    if (!thread->running && thread->deadline && *thread->deadline <= now()) wake(*thread);
  }
}

/// Runs the oldest event that is due, without the lock. False when there is none.
bool Clock::run_due_event() {
  if (events_.empty() || events_.begin()->first > now()) return false;
  const auto event = std::move(events_.begin()->second);
  events_.erase(events_.begin());
  const Unlocked unlocked(mutex_);
  event();
  return true;
}

int Clock::running_threads() const {
  const auto count = std::ranges::count(threads_, true, [](const auto& thread) { return thread->running; });
  return static_cast<int>(count);
}

std::optional<Time> Clock::next_due() const {
  std::optional<Time> next;
  if (!events_.empty()) next = events_.begin()->first;
  for (const auto& thread : threads_) {
    if (thread->running || !thread->deadline) continue;
    if (!next || *thread->deadline < *next) next = thread->deadline;
  }
  return next;
}

void Clock::move_to(Time when) {
  invariant(pace_ != Pace::scaled, "only the PC's clock moves time in pace scaled");
  if (when > now()) now_.store(when.count(), std::memory_order_release);
}

/// Virtual pace: moves time for as long as no thread runs and something is due.
void Clock::run() {
  if (pace_ != Pace::virtual_time || moving_) return;
  struct Moving {
    bool& flag;
    explicit Moving(bool& its_flag) : flag(its_flag) { flag = true; }
    ~Moving() { flag = false; }
  } const moving(moving_);
  while (running_ == 0 && !stopped()) {
    if (wake_ready()) break;
    const auto next = next_due();
    if (!next) break;
    invariant(running_threads() == 0, "time moves only while no thread runs");
    move_to(*next);
    if (run_due_event()) continue;
    wake_due();
  }
}

/// Waits until no thread but the caller runs and none could go on. False when it takes too long.
bool Clock::rest() {
  const auto patience_ends = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    const ProgramThread* self = this_thread();
    const int own = self != nullptr && self->running && &self->clock == this ? 1 : 0;
    if (running_ <= own) {
      if (!wake_ready()) return true;
    } else if (at_rest_.wait_until(mutex_, patience_ends) == std::cv_status::timeout) {
      return false;
    }
    if (std::chrono::steady_clock::now() > patience_ends) return false;
  }
}

// ---- waiting ----------------------------------------------------------------------------------------------

/// How long the PC's clock goes on until virtual time reaches `when`.
std::chrono::nanoseconds Clock::real_time_until(Time when) const {
  const std::chrono::duration<double, std::micro> span(static_cast<double>((when - now()).count()) / speed_);
  return std::max(std::chrono::ceil<std::chrono::nanoseconds>(span), std::chrono::nanoseconds(0));
}

/// Waits for real, without the lock, until a descriptor is ready, the thread is woken or `timeout` of the
/// PC's time has passed. Returns -1 with errno when a signal came, else 0.
int Clock::block(const ProgramThread& self, std::span<const pollfd> fds,
                 std::optional<std::chrono::nanoseconds> timeout, bool cancellable) {
  std::vector<pollfd> watched(fds.begin(), fds.end());
  watched.push_back({self.wake_event.get(), POLLIN, 0});
  const timespec left = to_timespec(timeout.value_or(std::chrono::nanoseconds(0)));
  int result = 0, error = 0;
  {
    const Unlocked unlocked(mutex_);
    if (cancellable) {
      const Cancellable window(self);
      result = cancellable_ppoll(watched.data(), watched.size(), timeout ? &left : nullptr);
    } else {
      result = real::ppoll(watched.data(), watched.size(), timeout ? &left : nullptr, nullptr);
    }
    error = errno;
  }
  drain(self.wake_event.get());
  errno = error;
  return result < 0 ? -1 : 0;
}

void Clock::end_if_cancelled(const ProgramThread& self) {
  if (!self.cancelled) return;
  const Unlocked unlocked(mutex_);
  const Cancellable window(self);
  pthread_testcancel();
}

int Clock::wait(std::span<pollfd> fds, std::optional<Time> deadline) {
  ProgramThread& self = *this_thread();
  const Locked lock(mutex_);
  const Waiting waiting(*this, self);
  for (;;) {
    const int ready = real::poll(fds.data(), fds.size(), 0);
    if (ready != 0) return ready;
    if (pace_ == Pace::scaled && run_due_event()) continue;
    if (deadline && now() >= *deadline) return 0;
    end_if_cancelled(self);

    self.fds.assign(fds.begin(), fds.end());
    self.deadline = deadline;
    set_running(self, false);
    run();
    if (self.running) continue;
    // With the board switched off, time stands still, and what is left of the wait is spent for real.
    const bool last = stopped() && pace_ != Pace::scaled;
    std::optional<std::chrono::nanoseconds> timeout;
    if (pace_ == Pace::scaled) {
      if (const auto next = next_due()) timeout = real_time_until(*next);
    } else if (last && deadline) {
      timeout = real_time_until(*deadline);
    }
    if (block(self, fds, timeout, true) < 0) return -1;
    set_running(self, true);
    if (last && deadline) return real::poll(fds.data(), fds.size(), 0);
  }
}

int Clock::lock_mutex(pthread_mutex_t* mutex) {
  ProgramThread& self = *this_thread();
  const Locked lock(mutex_);
  const Waiting waiting(*this, self);
  mutex_waiters_.fetch_add(1);
  int result = 0;
  while ((result = real::pthread_mutex_trylock(mutex)) == EBUSY) {
    self.blocked_on = mutex;
    set_running(self, false);
    run();
    if (!self.running) block(self, {}, kMutexLook, false);
    set_running(self, true);
  }
  mutex_waiters_.fetch_sub(1);
  return result;
}

void Clock::mutex_unlocked(pthread_mutex_t* mutex) {
  // An atomic addition, not a load: it must not be seen before the unlocking.
  if (mutex_waiters_.fetch_add(0) == 0) return;
  const Locked lock(mutex_);
  release(mutex);
}

void Clock::wait_for_end(pthread_t thread) {
  ProgramThread& self = *this_thread();
  const Locked lock(mutex_);
  const Waiting waiting(*this, self);
  const ProgramThread* const awaited = find(thread);
  if (awaited == nullptr || awaited == &self) return;
  while (find(thread) == awaited) {
    end_if_cancelled(self);
    self.blocked_on = awaited;
    set_running(self, false);
    run();
    if (!self.running) block(self, {}, std::nullopt, true);
    set_running(self, true);
  }
}

/// Lets every thread go on that waits for this mutex or thread. The lock is held.
void Clock::release(const void* awaited) {
  for (const auto& thread : threads_) {
    invariant(thread->blocked_on == nullptr || thread->fds.empty(), "a thread waits for one thing");
    if (!thread->running && thread->blocked_on == awaited) wake(*thread);
  }
}

// ---- what tests and threads do ----------------------------------------------------------------------------

void Clock::cancelled(pthread_t thread) {
  const Locked lock(mutex_);
  ProgramThread* const found = find(thread);
  if (found == nullptr) return;
  found->cancelled = true;
  if (!found->running) wake(*found);
}

void Clock::at(Time when, std::function<void()> event) {
  const Locked lock(mutex_);
  events_.emplace(when, std::move(event));
  if (pace_ == Pace::scaled) {
    wake_all();
  } else {
    run();
  }
}

bool Clock::advance(Time span) {
  if (pace_ != Pace::stepped) throw std::logic_error("boardsim: only a stepped board can be advanced");
  const Locked lock(mutex_);
  const Time target = now() + span;
  for (;;) {
    if (!rest()) return false;
    const auto next = next_due();
    if (!next || *next > target) break;
    move_to(*next);
    if (!run_due_event()) wake_due();
  }
  move_to(target);
  return true;
}

bool Clock::settle() {
  const Locked lock(mutex_);
  return rest();
}

std::shared_ptr<ProgramThread> Clock::add_thread(std::shared_ptr<BoardState> board) {
  auto thread = std::make_shared<ProgramThread>(std::move(board), *this);
  const Locked lock(mutex_);
  threads_.push_back(thread);
  ++running_;
  return thread;
}

void Clock::set_handle(ProgramThread& thread, pthread_t handle) {
  const Locked lock(mutex_);
  thread.handle = handle;
  thread.started = true;
}

void Clock::remove_thread(ProgramThread& thread) {
  const Locked lock(mutex_);
  const auto gone = std::erase_if(threads_, [&](const auto& entry) { return entry.get() == &thread; });
  invariant(gone == 1, "a thread is entered once, and leaves once");
  release(&thread);
  set_running(thread, false);
  invariant(running_ == running_threads(), "the threads that run are counted");
  run();
}

int Clock::threads() const {
  const Locked lock(mutex_);
  return static_cast<int>(threads_.size());
}

void Clock::stop() {
  std::multimap<Time, std::function<void()>> dropped;
  const Locked lock(mutex_);
  stopped_.store(true, std::memory_order_release);
  dropped.swap(events_);
  wake_all();
}

}  // namespace boardsim
