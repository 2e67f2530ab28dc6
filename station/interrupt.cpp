// A pipe that a signal handler may write to.
#include "station/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace t1station {
namespace {

Interrupt* watched = nullptr;

extern "C" void on_signal(int /*signal*/) {
  if (watched) watched->raise();
}

}  // namespace

Interrupt::Interrupt() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  read_end_ = ends[0];
  write_end_ = ends[1];
}

Interrupt::~Interrupt() {
  if (watched == this) watched = nullptr;
  close(read_end_);
  close(write_end_);
}

void Interrupt::raise() noexcept {
  const int saved = errno;
  // A full pipe is as good as one more byte.
  [[maybe_unused]] const ssize_t written = write(write_end_, "!", 1);
  errno = saved;
}

bool Interrupt::is_raised() const {
  pollfd item{read_end_, POLLIN, 0};
  return poll(&item, 1, 0) == 1;
}

void Interrupt::watch_signals() {
  watched = this;
  struct sigaction action {};
  action.sa_handler = on_signal;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

}  // namespace t1station
