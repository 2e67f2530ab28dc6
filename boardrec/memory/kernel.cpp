#include "boardrec/memory/kernel.h"

#include <fcntl.h>

namespace boardrec::kernel {

#if defined __x86_64__

long call(long number, long a, long b, long c, long d, long e, long f) {
  long result = 0;
  register long r10 asm("r10") = d;
  register long r8 asm("r8") = e;
  register long r9 asm("r9") = f;
  asm volatile("syscall"
               : "=a"(result)
               : "a"(number), "D"(a), "S"(b), "d"(c), "r"(r10), "r"(r8), "r"(r9)
               : "rcx", "r11", "memory");
  return result;
}

#elif defined __arm__

// The number's register is the frame pointer of Thumb code: it is kept by hand.
long call(long number, long a, long b, long c, long d, long e, long f) {
  register long r0 asm("r0") = a;
  register long r1 asm("r1") = b;
  register long r2 asm("r2") = c;
  register long r3 asm("r3") = d;
  register long r4 asm("r4") = e;
  register long r5 asm("r5") = f;
  register long r6 asm("r6") = number;
  long kept = 0;
  asm volatile("mov %[kept], r7\n\tmov r7, r6\n\tsvc #0\n\tmov r7, %[kept]"
               : "+r"(r0), [kept] "=&r"(kept)
               : "r"(r1), "r"(r2), "r"(r3), "r"(r4), "r"(r5), "r"(r6)
               : "memory");
  return r0;
}

#elif defined __aarch64__

long call(long number, long a, long b, long c, long d, long e, long f) {
  register long x8 asm("x8") = number;
  register long x0 asm("x0") = a;
  register long x1 asm("x1") = b;
  register long x2 asm("x2") = c;
  register long x3 asm("x3") = d;
  register long x4 asm("x4") = e;
  register long x5 asm("x5") = f;
  asm volatile("svc #0" : "+r"(x0) : "r"(x1), "r"(x2), "r"(x3), "r"(x4), "r"(x5), "r"(x8) : "memory");
  return x0;
}

#else
#error "How this processor calls the kernel is not written here yet."
#endif

long write_all(int fd, const void* bytes, std::size_t size, std::size_t& written) {
  const char* const from = static_cast<const char*>(bytes);
  written = 0;
  while (written < size) {
    const long result = call(SYS_write, fd, word(from + written), static_cast<long>(size - written));
    if (result == -EINTR) continue;
    if (result <= 0) return result == 0 ? -ENOSPC : result;
    written += static_cast<std::size_t>(result);
  }
  return 0;
}

int out_of_the_way(int fd) {
  if (fd < 0) return fd;
  constexpr long kFirst = 960;  // above what a program on a board has open, below what select can watch
  for (long first = kFirst; first > fd; first /= 2) {
    const long moved = call(SYS_fcntl, fd, F_DUPFD_CLOEXEC, first);
    if (moved < 0) continue;
    close(fd);
    return static_cast<int>(moved);
  }
  return fd;
}

}  // namespace boardrec::kernel
