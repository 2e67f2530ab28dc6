// Calls that no simulated node answers: on other descriptors they are the C library's.
#include <sys/uio.h>
#include <unistd.h>

#include "boardsim/core/real.h"
#include "boardsim/core/state.h"

using boardsim::Entered;
namespace real = boardsim::real;

namespace {

/// Whether the descriptor is a node's; then the call has been reported.
bool refused(int fd, const char* call) {
  const Entered board;
  if (!board || !board->is_node(fd)) return false;
  board->refuse(call);
  return true;
}

}  // namespace

extern "C" {

ssize_t pread(int fd, void* buffer, size_t size, off_t offset) {
  return refused(fd, "pread on a node") ? -1 : real::pread(fd, buffer, size, offset);
}
ssize_t pread64(int fd, void* buffer, size_t size, off64_t offset) {
  return pread(fd, buffer, size, offset);
}

ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) {
  return refused(fd, "pwrite on a node") ? -1 : real::pwrite(fd, buffer, size, offset);
}
ssize_t pwrite64(int fd, const void* buffer, size_t size, off64_t offset) {
  return pwrite(fd, buffer, size, offset);
}

ssize_t readv(int fd, const iovec* parts, int count) {
  return refused(fd, "readv on a node") ? -1 : real::readv(fd, parts, count);
}

ssize_t writev(int fd, const iovec* parts, int count) {
  return refused(fd, "writev on a node") ? -1 : real::writev(fd, parts, count);
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
