#include "boardsim/kernel/own_descriptor.h"

#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

constexpr int kFirst = 512;  // above what a program on the board has open, below what select can watch

}  // namespace

int out_of_the_way(int fd) {
  if (fd < 0) return -1;
  const int moved = real::fcntl(fd, F_DUPFD_CLOEXEC, kFirst);
  if (moved < 0) return fd;
  real::close(fd);
  return moved;
}

OwnDescriptor::~OwnDescriptor() {
  reset();
}

void OwnDescriptor::reset() {
  if (fd_ >= 0) real::close(fd_);
  fd_ = -1;
}

}  // namespace boardsim
