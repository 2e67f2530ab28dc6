// A file descriptor that closes itself.
#pragma once

#include <unistd.h>
#include <cerrno>
#include <utility>

namespace boardtest {

/// Owns a descriptor and closes it at its end of life, errno kept. It has no test of its own: callers
/// of this program ask for > 0, < 0 or < 1, so get() is compared as each of them needs.
class [[nodiscard]] Descriptor {
 public:
  /// Takes over a descriptor, or the negative result of a call that should have opened one.
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { close(); }
  /// Takes over what `other` owns.
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;

  /// The number, as the opening call gave it; -1 when nothing is owned any more.
  int get() const { return fd_; }

  /// Closes now. Does nothing the second time.
  void close() {
    if (fd_ < 0) return;
    const int saved = errno;
    ::close(std::exchange(fd_, -1));
    errno = saved;
  }

  /// Gives the descriptor up without closing it; `reason` tells the reader why the node stays open.
  int leave_open([[maybe_unused]] const char* reason) { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

}  // namespace boardtest
