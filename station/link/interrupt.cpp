// A pipe that a signal handler may write to.
#include "station/link/interrupt.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <system_error>

namespace t1station {
namespace {

constexpr std::int64_t kOneHangup = 1'000'000'000;  // nanoseconds

Interrupt* watched = nullptr;
std::atomic<std::int64_t> last_hangup = -kOneHangup;

bool is_same_hangup() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::int64_t nanoseconds = std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
  return nanoseconds - last_hangup.exchange(nanoseconds) < kOneHangup;
}

extern "C" void on_signal(int signal) {
  if (!watched || (signal == SIGHUP && is_same_hangup())) return;
  if (watched->is_raised() || watched->is_accepted()) {
    std::signal(signal, SIG_DFL);
    std::raise(signal);
  }
  watched->raise();
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
  if (is_holding_ && !is_noted_.exchange(true)) return;
  const int saved = errno;
  // A full pipe is as good as one more byte.
  [[maybe_unused]] const ssize_t written = write(write_end_, "!", 1);
  errno = saved;
}

void Interrupt::raise(const char* reason) noexcept {
  const char* none = nullptr;
  reason_.compare_exchange_strong(none, reason);
  raise();
}

void Interrupt::raise_at_once() noexcept {
  is_at_once_ = true;
  is_holding_ = false;
  raise();
}

const char* Interrupt::reason(const char* otherwise) const noexcept {
  const char* reason = reason_;
  return reason ? reason : otherwise;
}

bool Interrupt::is_raised() const {
  pollfd item{read_end_, POLLIN, 0};
  return poll(&item, 1, 0) == 1;
}

void Interrupt::accept() noexcept {
  is_accepted_ = true;
  std::array<char, 64> bytes{};
  while (read(read_end_, bytes.data(), bytes.size()) > 0) {
  }
}

void Interrupt::release() noexcept {
  is_holding_ = false;
  if (is_noted_.exchange(false)) raise();
}

void Interrupt::watch_signals() {
  watched = this;
  struct sigaction action {};
  action.sa_handler = on_signal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  struct sigaction before {};
  if (sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
    sigaction(SIGHUP, &action, nullptr);
  }
}

}  // namespace t1station
