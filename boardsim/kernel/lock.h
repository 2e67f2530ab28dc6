// A lock of which the compiler knows what it guards: clang's -Wthread-safety looks at it, `rules.py locks`
// calls it.
#pragma once

#include <mutex>

// What a declaration says about locks, in clang's words; nothing for other compilers.
#ifdef __clang__
#define BOARDSIM_LOCKS(words) __attribute__((words))
#else
#define BOARDSIM_LOCKS(words)
#endif

namespace boardsim {

class BOARDSIM_LOCKS(capability("mutex")) Mutex {
 public:
  void lock() BOARDSIM_LOCKS(acquire_capability()) { mutex_.lock(); }
  void unlock() BOARDSIM_LOCKS(release_capability()) { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a lock for as long as it lives.
class BOARDSIM_LOCKS(scoped_lockable) Locked {
 public:
  explicit Locked(Mutex& mutex) BOARDSIM_LOCKS(acquire_capability(mutex)) : mutex_(mutex) { mutex_.lock(); }
  ~Locked() BOARDSIM_LOCKS(release_capability()) { mutex_.unlock(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  Mutex& mutex_;
};

/// Lets a lock go for as long as it lives; it is held again however the thread leaves, by cancellation too.
class BOARDSIM_LOCKS(scoped_lockable) Unlocked {
 public:
  explicit Unlocked(Mutex& mutex) BOARDSIM_LOCKS(release_capability(mutex)) : mutex_(mutex) {
    mutex_.unlock();
  }
  ~Unlocked() BOARDSIM_LOCKS(release_capability()) { mutex_.lock(); }
  Unlocked(const Unlocked&) = delete;
  Unlocked& operator=(const Unlocked&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace boardsim
