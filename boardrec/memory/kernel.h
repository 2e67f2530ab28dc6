// The kernel, asked past the C library: no errno, no cancellation, nothing that stands in between.
#pragma once

#include <sys/syscall.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace boardrec::kernel {

/// The call's result, or a negative errno.
long call(long number, long a = 0, long b = 0, long c = 0, long d = 0, long e = 0, long f = 0);

inline long word(const volatile void* pointer) {
  return static_cast<long>(reinterpret_cast<std::uintptr_t>(pointer));
}

inline void close(int fd) {
  call(SYS_close, fd);
}

/// All of it, or the negative errno of the part that failed; how much went before, `written` says.
long write_all(int fd, const void* bytes, std::size_t size, std::size_t& written);

/// Moves a descriptor out of the way of the program's own, which stay as they are without it, and closes it
/// in programs that are started. `fd` itself where none that high is allowed; negative numbers are passed on.
int out_of_the_way(int fd);

/// Sleeps while `*place` is `value`, at most until it is woken.
inline void wait_on(const std::uint32_t* place, std::uint32_t value) {
  constexpr int kWaitPrivate = 128;
  call(SYS_futex, word(place), kWaitPrivate, static_cast<long>(value), 0);
}
inline void wake(const std::uint32_t* place, int threads) {
  constexpr int kWakePrivate = 129;
  call(SYS_futex, word(place), kWakePrivate, threads);
}

/// A lock that no other library answers. Not for a thread that has it already.
class Lock {
 public:
  void take() {
    std::uint32_t free = 0;
    if (__atomic_compare_exchange_n(&state_, &free, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED)) return;
    while (__atomic_exchange_n(&state_, 2, __ATOMIC_ACQUIRE) != 0) wait_on(&state_, 2);
  }
  void give() {
    if (__atomic_exchange_n(&state_, 0, __ATOMIC_RELEASE) == 2) wake(&state_, 1);
  }

 private:
  std::uint32_t state_ = 0;  ///< 0 free, 1 taken, 2 taken and waited for
};

class Locked {
 public:
  explicit Locked(Lock& lock) : lock_(lock) { lock_.take(); }
  ~Locked() { lock_.give(); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  Lock& lock_;
};

}  // namespace boardrec::kernel
