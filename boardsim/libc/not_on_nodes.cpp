// Calls that no simulated node answers: on other descriptors they are the C library's.
#include <fcntl.h>
#include <stdarg.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"

using boardsim::Entered;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

namespace {

/// Whether the descriptor is a node's; then the call has been reported.
bool refused(int fd, const char* call) {
  const Entered board;
  if (!board || !calls::is_node(*board, fd)) return false;
  calls::refuse(*board, call);
  return true;
}

}  // namespace

extern "C" {

ssize_t pread64(int fd, void* buffer, size_t size, off64_t offset) {
  return refused(fd, "pread on a node") ? -1 : real::pread64(fd, buffer, size, offset);
}
ssize_t pread(int fd, void* buffer, size_t size, off_t offset) {
  return pread64(fd, buffer, size, offset);
}

ssize_t pwrite64(int fd, const void* buffer, size_t size, off64_t offset) {
  return refused(fd, "pwrite on a node") ? -1 : real::pwrite64(fd, buffer, size, offset);
}
ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) {
  return pwrite64(fd, buffer, size, offset);
}

ssize_t readv(int fd, const iovec* parts, int count) {
  return refused(fd, "readv on a node") ? -1 : real::readv(fd, parts, count);
}

ssize_t writev(int fd, const iovec* parts, int count) {
  return refused(fd, "writev on a node") ? -1 : real::writev(fd, parts, count);
}

// The thread sanitizer maps memory before any function that it watches may run, this one included.
#ifndef __SANITIZE_THREAD__
void* mmap64(void* address, size_t size, int protection, int flags, int fd, off64_t offset) noexcept {
  if ((flags & MAP_ANONYMOUS) == 0 && refused(fd, "mmap of a node")) return MAP_FAILED;
  return real::mmap64(address, size, protection, flags, fd, offset);
}
void* mmap(void* address, size_t size, int protection, int flags, int fd, off_t offset) noexcept {
  return mmap64(address, size, protection, flags, fd, offset);
}
#endif

int ftruncate64(int fd, off64_t size) noexcept {
  return refused(fd, "ftruncate of a node") ? -1 : real::ftruncate64(fd, size);
}
int ftruncate(int fd, off_t size) noexcept {
  return ftruncate64(fd, size);
}

int fchmod(int fd, mode_t mode) noexcept {
  return refused(fd, "fchmod of a node") ? -1 : real::fchmod(fd, mode);
}

int fchown(int fd, uid_t owner, gid_t group) noexcept {
  return refused(fd, "fchown of a node") ? -1 : real::fchown(fd, owner, group);
}

int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const bool copies = command == F_DUPFD || command == F_DUPFD_CLOEXEC;
  if (copies && refused(fd, "fcntl(F_DUPFD) of a node")) return -1;
  return real::fcntl(fd, command, argument);
}
int fcntl64(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return fcntl(fd, command, argument);
}

int dup(int fd) noexcept {
  return refused(fd, "dup of a node") ? -1 : real::dup(fd);
}

int dup2(int fd, int copy) noexcept {
  return refused(fd, "dup2 of a node") || refused(copy, "dup2 onto a node") ? -1 : real::dup2(fd, copy);
}

int dup3(int fd, int copy, int flags) noexcept {
  return refused(fd, "dup3 of a node") || refused(copy, "dup3 onto a node") ? -1
                                                                            : real::dup3(fd, copy, flags);
}

}  // extern "C"
