// What a board's program must never do to the PC: recorded, reported, not performed.
#include <errno.h>
#include <signal.h>
#include <stdarg.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <vector>

#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"
#include "boardsim/libc/refuse.h"

using boardsim::Entered;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

namespace {

struct RawCall {
  long number;
  const char* name;
};

// Raw system calls that would go around the functions of this folder.
constexpr std::array kRefusedRawCalls{
    RawCall{SYS_reboot, "syscall(reboot)"},
    RawCall{SYS_mount, "syscall(mount)"},
    RawCall{SYS_umount2, "syscall(umount2)"},
    RawCall{SYS_execve, "syscall(execve)"},
    RawCall{SYS_settimeofday, "syscall(settimeofday)"},
    RawCall{SYS_clock_settime, "syscall(clock_settime)"},
    RawCall{SYS_sethostname, "syscall(sethostname)"},
    RawCall{SYS_kexec_load, "syscall(kexec_load)"},
};

/// The arguments of execl and its relatives as an array, with the null pointer at the end.
std::vector<char*> gather(const char* first, va_list& rest) {
  std::vector<char*> arguments{const_cast<char*>(first)};
  while (arguments.back() != nullptr) arguments.push_back(va_arg(rest, char*));
  return arguments;
}

}  // namespace

extern "C" {

int reboot(int command) noexcept {
  const Entered board;
  if (board) return calls::reboot(*board, static_cast<std::uint32_t>(command));
  boardsim::must_be_outside("reboot");
  return real::reboot(command);
}

// Callers pass as many words as their call takes; looking for six is no mistake here.
[[gnu::no_sanitize("address")]] long syscall(long number, ...) noexcept {
  va_list list;
  va_start(list, number);
  std::array<long, 6> arguments{};
  for (long& argument : arguments) argument = va_arg(list, long);
  va_end(list);
  if (boardsim::answering_board() != nullptr) {
    const auto* refused = std::ranges::find(kRefusedRawCalls, number, &RawCall::number);
    if (refused != kRefusedRawCalls.end()) {
      const Entered board;
      return calls::refuse(*board, refused->name);
    }
  }
  return real::syscall(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                       arguments[5]);
}

int system(const char* command) {
  const Entered board;
  if (board) return calls::system(*board, command);
  boardsim::must_be_outside("system");
  return real::system(command);
}

FILE* popen(const char* command, const char* mode) {
  if (const Entered board; board) {
    calls::refuse(*board, "popen");
    return nullptr;
  }
  return real::popen(command, mode);
}

pid_t fork() noexcept {
  BOARDSIM_REFUSE(fork);
  return real::fork();
}

// A wrapper cannot share its caller's stack with a child, so this is a fork for everybody else.
pid_t vfork() noexcept {
  BOARDSIM_REFUSE(vfork);
  return real::fork();
}

int execve(const char* path, char* const arguments[], char* const environment[]) noexcept {
  BOARDSIM_REFUSE(execve);
  return real::execve(path, arguments, environment);
}

int execv(const char* path, char* const arguments[]) noexcept {
  BOARDSIM_REFUSE(execv);
  return real::execv(path, arguments);
}

int execvp(const char* file, char* const arguments[]) noexcept {
  BOARDSIM_REFUSE(execvp);
  return real::execvp(file, arguments);
}

int execvpe(const char* file, char* const arguments[], char* const environment[]) noexcept {
  BOARDSIM_REFUSE(execvpe);
  return real::execvpe(file, arguments, environment);
}

int fexecve(int fd, char* const arguments[], char* const environment[]) noexcept {
  BOARDSIM_REFUSE(fexecve);
  return real::fexecve(fd, arguments, environment);
}

int execl(const char* path, const char* first, ...) noexcept {
  BOARDSIM_REFUSE(execl);
  va_list rest;
  va_start(rest, first);
  const std::vector<char*> arguments = gather(first, rest);
  va_end(rest);
  return real::execv(path, arguments.data());
}

int execlp(const char* file, const char* first, ...) noexcept {
  BOARDSIM_REFUSE(execlp);
  va_list rest;
  va_start(rest, first);
  const std::vector<char*> arguments = gather(first, rest);
  va_end(rest);
  return real::execvp(file, arguments.data());
}

int execle(const char* path, const char* first, ...) noexcept {
  BOARDSIM_REFUSE(execle);
  va_list rest;
  va_start(rest, first);
  const std::vector<char*> arguments = gather(first, rest);
  char* const* const environment = va_arg(rest, char* const*);
  va_end(rest);
  return real::execve(path, arguments.data(), environment);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
  if (const Entered board; board) return calls::refuse(*board, "posix_spawn"), EPERM;
  return real::posix_spawn(pid, path, actions, attributes, arguments, environment);
}

int posix_spawnp(pid_t* pid, const char* file, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
  if (const Entered board; board) return calls::refuse(*board, "posix_spawnp"), EPERM;
  return real::posix_spawnp(pid, file, actions, attributes, arguments, environment);
}

int sethostname(const char* name, size_t size) noexcept {
  BOARDSIM_REFUSE(sethostname);
  return real::sethostname(name, size);
}

int settimeofday(const timeval* now, const struct timezone* zone) noexcept {
  BOARDSIM_REFUSE(settimeofday);
  return real::settimeofday(now, zone);
}

int clock_settime(clockid_t clock, const timespec* now) noexcept {
  BOARDSIM_REFUSE(clock_settime);
  return real::clock_settime(clock, now);
}

int kill(pid_t process, int signal) noexcept {
  if (process <= 1) BOARDSIM_REFUSE(kill);
  return real::kill(process, signal);
}

}  // extern "C"
