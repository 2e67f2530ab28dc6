// A word from one thread to another that waits in a poll().
#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace t1station {

/// Readable from give() to take(), which any thread may call.
class Signal {
 public:
  /// Throws std::system_error when the system has no descriptor left.
  Signal() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), "no descriptor is left");
  }
  ~Signal() { close(descriptor_); }
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;

  int descriptor() const { return descriptor_; }
  void give() const { eventfd_write(descriptor_, 1); }
  void take() const {
    eventfd_t count = 0;
    eventfd_read(descriptor_, &count);
  }

 private:
  int descriptor_;
};

}  // namespace t1station
