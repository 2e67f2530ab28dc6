// The C library's own functions, behind the names that the simulated board answers.
#pragma once

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

// The C library's functions carry attributes that a function type in a template loses.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-attributes"

namespace boardsim::real {

/// The next function of that name behind ours, looked up when it is first called. Usable before any
/// constructor has run; needs no lock.
template <typename Signature>
class Function {
 public:
  constexpr explicit Function(const char* name) : name_(name) {}

  template <typename... Arguments>
  auto operator()(Arguments... arguments) const {
    return get()(arguments...);
  }

  Signature* get() const {
    Signature* function = function_.load(std::memory_order_relaxed);
    if (function == nullptr) {
      function = reinterpret_cast<Signature*>(dlsym(RTLD_NEXT, name_));
      function_.store(function, std::memory_order_relaxed);
    }
    return function;
  }

 private:
  const char* name_;
  mutable std::atomic<Signature*> function_{nullptr};
};

#define BOARDSIM_REAL(name)                                \
  inline constinit const Function<decltype(::name)> name { \
#name                                                  \
  }

// files
BOARDSIM_REAL(open);
BOARDSIM_REAL(openat);
BOARDSIM_REAL(fopen);
BOARDSIM_REAL(close);
BOARDSIM_REAL(read);
BOARDSIM_REAL(write);
BOARDSIM_REAL(lseek);
BOARDSIM_REAL(ioctl);
BOARDSIM_REAL(access);
BOARDSIM_REAL(stat);
BOARDSIM_REAL(lstat);
BOARDSIM_REAL(fstat);
BOARDSIM_REAL(fstatat);
BOARDSIM_REAL(pread);
BOARDSIM_REAL(pwrite);
BOARDSIM_REAL(readv);
BOARDSIM_REAL(writev);
BOARDSIM_REAL(dup);
BOARDSIM_REAL(dup2);
BOARDSIM_REAL(dup3);
// sockets
BOARDSIM_REAL(socket);
BOARDSIM_REAL(socketpair);
BOARDSIM_REAL(bind);
BOARDSIM_REAL(listen);
BOARDSIM_REAL(accept);
BOARDSIM_REAL(accept4);
BOARDSIM_REAL(connect);
BOARDSIM_REAL(recv);
BOARDSIM_REAL(send);
BOARDSIM_REAL(shutdown);
// time
BOARDSIM_REAL(sleep);
BOARDSIM_REAL(usleep);
BOARDSIM_REAL(nanosleep);
BOARDSIM_REAL(clock_nanosleep);
BOARDSIM_REAL(clock_gettime);
BOARDSIM_REAL(poll);
BOARDSIM_REAL(ppoll);
BOARDSIM_REAL(select);
BOARDSIM_REAL(pselect);
// threads
BOARDSIM_REAL(pthread_create);
BOARDSIM_REAL(pthread_join);
BOARDSIM_REAL(pthread_cancel);
BOARDSIM_REAL(pthread_mutex_lock);
BOARDSIM_REAL(pthread_mutex_trylock);
BOARDSIM_REAL(pthread_mutex_unlock);
// what a board's program could do to a PC
BOARDSIM_REAL(reboot);
BOARDSIM_REAL(syscall);
BOARDSIM_REAL(system);
BOARDSIM_REAL(popen);
BOARDSIM_REAL(execve);
BOARDSIM_REAL(execv);
BOARDSIM_REAL(execvp);
BOARDSIM_REAL(execvpe);
BOARDSIM_REAL(fexecve);
BOARDSIM_REAL(posix_spawn);
BOARDSIM_REAL(posix_spawnp);
BOARDSIM_REAL(fork);
BOARDSIM_REAL(mount);
BOARDSIM_REAL(umount);
BOARDSIM_REAL(umount2);
BOARDSIM_REAL(statfs);
BOARDSIM_REAL(mkdir);
BOARDSIM_REAL(rmdir);
BOARDSIM_REAL(unlink);
BOARDSIM_REAL(sethostname);
BOARDSIM_REAL(settimeofday);
BOARDSIM_REAL(kill);
BOARDSIM_REAL(clock_settime);

#undef BOARDSIM_REAL

}  // namespace boardsim::real

#pragma GCC diagnostic pop
