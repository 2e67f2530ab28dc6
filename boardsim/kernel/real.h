// The C library's own functions, behind the names that the simulated board answers.
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/reboot.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <termios.h>
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

// files; sizes and positions have 64 bits on every machine, in the simulator too
BOARDSIM_REAL(open);
BOARDSIM_REAL(openat);
BOARDSIM_REAL(fopen);
BOARDSIM_REAL(close);
BOARDSIM_REAL(read);
BOARDSIM_REAL(write);
BOARDSIM_REAL(lseek64);
BOARDSIM_REAL(ioctl);
BOARDSIM_REAL(access);
BOARDSIM_REAL(fstat64);
BOARDSIM_REAL(fstatat64);
BOARDSIM_REAL(pread64);
BOARDSIM_REAL(pwrite64);
BOARDSIM_REAL(readv);
BOARDSIM_REAL(writev);
BOARDSIM_REAL(dup);
BOARDSIM_REAL(dup2);
BOARDSIM_REAL(dup3);
BOARDSIM_REAL(fcntl);
BOARDSIM_REAL(fdopen);
BOARDSIM_REAL(mmap64);
BOARDSIM_REAL(ftruncate64);
BOARDSIM_REAL(fchmod);
BOARDSIM_REAL(fchown);
// terminals
BOARDSIM_REAL(tcgetattr);
BOARDSIM_REAL(tcsetattr);
BOARDSIM_REAL(tcflush);
// paths
BOARDSIM_REAL(rename);
BOARDSIM_REAL(renameat);
BOARDSIM_REAL(renameat2);
BOARDSIM_REAL(remove);
BOARDSIM_REAL(unlinkat);
BOARDSIM_REAL(mkdirat);
BOARDSIM_REAL(mknod);
BOARDSIM_REAL(mkfifo);
BOARDSIM_REAL(truncate64);
BOARDSIM_REAL(symlink);
BOARDSIM_REAL(symlinkat);
BOARDSIM_REAL(link);
BOARDSIM_REAL(linkat);
BOARDSIM_REAL(chmod);
BOARDSIM_REAL(fchmodat);
BOARDSIM_REAL(chown);
BOARDSIM_REAL(lchown);
BOARDSIM_REAL(fchownat);
BOARDSIM_REAL(utimensat);
BOARDSIM_REAL(chdir);
BOARDSIM_REAL(opendir);
BOARDSIM_REAL(scandir);
BOARDSIM_REAL(scandir64);
BOARDSIM_REAL(readlink);
BOARDSIM_REAL(readlinkat);
BOARDSIM_REAL(faccessat);
BOARDSIM_REAL(statx);
BOARDSIM_REAL(statvfs);
BOARDSIM_REAL(statvfs64);
BOARDSIM_REAL(freopen);
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
BOARDSIM_REAL(sendto);
BOARDSIM_REAL(recvfrom);
BOARDSIM_REAL(sendmsg);
BOARDSIM_REAL(recvmsg);
BOARDSIM_REAL(epoll_create);
BOARDSIM_REAL(epoll_create1);
BOARDSIM_REAL(shutdown);
// time
BOARDSIM_REAL(sleep);
BOARDSIM_REAL(usleep);
BOARDSIM_REAL(nanosleep);
BOARDSIM_REAL(clock_nanosleep);
BOARDSIM_REAL(clock_gettime);
BOARDSIM_REAL(gettimeofday);
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
BOARDSIM_REAL(statfs64);
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
