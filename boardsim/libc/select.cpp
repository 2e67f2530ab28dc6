// select and poll, over one wait.
#include <poll.h>
#include <sys/select.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/calls/frame.h"
#include "boardsim/kernel/real.h"
#include "boardsim/libc/timespec.h"

using boardsim::Call;
using boardsim::Entered;
using boardsim::Time;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

extern "C" {
int __poll_chk(pollfd* fds, nfds_t count, int timeout, size_t size);
int __ppoll_chk(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask, size_t size);
[[noreturn]] void __chk_fail();
}

namespace {

// What Linux counts as ready in each of the three sets.
constexpr short kReadable = POLLIN | POLLRDNORM | POLLRDBAND | POLLHUP | POLLERR;
constexpr short kWritable = POLLOUT | POLLWRNORM | POLLWRBAND | POLLERR;
constexpr short kExceptional = POLLPRI;

struct Sets {
  fd_set* readable;
  fd_set* writable;
  fd_set* exceptional;
};

bool contains(int fd, const fd_set* set) {
  return set != nullptr && FD_ISSET(fd, set);
}

std::vector<pollfd> watched(int count, const Sets& sets) {
  std::vector<pollfd> fds;
  for (int fd = 0; fd < count; ++fd) {
    int events = 0;
    if (contains(fd, sets.readable)) events |= POLLIN;
    if (contains(fd, sets.writable)) events |= POLLOUT;
    if (contains(fd, sets.exceptional)) events |= POLLPRI;
    if (events != 0) fds.push_back({fd, static_cast<short>(events), 0});
  }
  return fds;
}

/// Which of the events that were asked for make an entry ready, as poll's bits.
int ready_events(const pollfd& entry) {
  int ready = 0;
  if ((entry.events & POLLIN) != 0 && (entry.revents & kReadable) != 0) ready |= POLLIN;
  if ((entry.events & POLLOUT) != 0 && (entry.revents & kWritable) != 0) ready |= POLLOUT;
  if ((entry.events & POLLPRI) != 0 && (entry.revents & kExceptional) != 0) ready |= POLLPRI;
  return ready;
}

int mark(fd_set* set, const std::vector<pollfd>& fds, int event) {
  if (set == nullptr) return 0;
  FD_ZERO(set);
  int count = 0;
  for (const pollfd& entry : fds) {
    if (entry.fd < 0 || (ready_events(entry) & event) == 0) continue;
    FD_SET(entry.fd, set);
    ++count;
  }
  return count;
}

/// select(2) until `deadline`; `record` is the time-out as it goes into the trace.
int select_until(const Entered& board, const char* name, int count, const Sets& sets,
                 std::vector<std::uint32_t> record, std::optional<Time> deadline) {
  if (count < 0 || count > FD_SETSIZE) return errno = EINVAL, -1;
  std::vector<pollfd> fds = watched(count, sets);
  const Call call = calls::begun(*board, name, std::move(record));
  for (;;) {
    const int ready = calls::wait_for_ready(*board, call, fds, deadline);
    if (ready < 0) return -1;
    bool again = ready > 0;
    for (pollfd& entry : fds) {
      if (entry.fd < 0) continue;
      if ((entry.revents & POLLNVAL) != 0) return errno = EBADF, -1;
      if (ready_events(entry) != 0) again = false;
    }
    if (again) {
      // A closed peer that nobody asked about: poll tells it for ever, select does not.
      for (pollfd& entry : fds) {
        if (entry.revents != 0) entry.fd = -1;
      }
      continue;
    }
    return mark(sets.readable, fds, POLLIN) + mark(sets.writable, fds, POLLOUT) +
           mark(sets.exceptional, fds, POLLPRI);
  }
}

int poll_until(const Entered& board, const char* name, pollfd* fds, nfds_t count,
               std::vector<std::uint32_t> record, std::optional<Time> deadline) {
  return calls::wait_for_ready(*board, calls::begun(*board, name, std::move(record)), {fds, count}, deadline);
}

std::optional<Time> deadline_after(const Entered& board, const timespec* span) {
  if (span == nullptr) return std::nullopt;
  return board->clock.now() + boardsim::to_time(*span);
}

std::vector<std::uint32_t> words(const timespec* span) {
  return span != nullptr ? boardsim::words(*span) : std::vector<std::uint32_t>{};
}

}  // namespace

extern "C" {

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
  const Entered board;
  if (!board) return real::select(count, readable, writable, exceptional, timeout);
  if (timeout != nullptr && (timeout->tv_sec < 0 || timeout->tv_usec < 0)) return errno = EINVAL, -1;
  std::optional<Time> deadline;
  std::vector<std::uint32_t> record;
  if (timeout != nullptr) {
    deadline = board->clock.now() + std::chrono::seconds(timeout->tv_sec) + Time(timeout->tv_usec);
    record = {static_cast<std::uint32_t>(timeout->tv_sec), static_cast<std::uint32_t>(timeout->tv_usec)};
  }
  const int result =
      select_until(board, "select", count, {readable, writable, exceptional}, std::move(record), deadline);
  if (timeout != nullptr && calls::counts_down(*board)) {
    const int error = errno;
    const Time left = std::max(*deadline - board->clock.now(), Time(0));
    timeout->tv_sec = static_cast<time_t>(left.count() / std::micro::den);
    timeout->tv_usec = static_cast<suseconds_t>(left.count() % std::micro::den);
    errno = error;
  }
  return result;
}

int pselect(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, const timespec* timeout,
            const sigset_t* mask) {
  const Entered board;
  if (!board) return real::pselect(count, readable, writable, exceptional, timeout, mask);
  if (mask != nullptr) return calls::refuse(*board, "pselect with a signal mask");
  if (timeout != nullptr && !boardsim::is_valid(*timeout)) return errno = EINVAL, -1;
  return select_until(board, "select", count, {readable, writable, exceptional}, words(timeout),
                      deadline_after(board, timeout));
}

int poll(pollfd* fds, nfds_t count, int timeout) {
  const Entered board;
  if (!board) return real::poll(fds, count, timeout);
  std::optional<Time> deadline;
  if (timeout >= 0) deadline = board->clock.now() + std::chrono::milliseconds(timeout);
  return poll_until(board, "poll", fds, count, {static_cast<std::uint32_t>(timeout)}, deadline);
}

int __poll_chk(pollfd* fds, nfds_t count, int timeout, size_t size) {
  if (size / sizeof *fds < count) __chk_fail();
  return poll(fds, count, timeout);
}

int ppoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  const Entered board;
  if (!board) return real::ppoll(fds, count, timeout, mask);
  if (mask != nullptr) return calls::refuse(*board, "ppoll with a signal mask");
  if (timeout != nullptr && !boardsim::is_valid(*timeout)) return errno = EINVAL, -1;
  return poll_until(board, "poll", fds, count, words(timeout), deadline_after(board, timeout));
}

int __ppoll_chk(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask, size_t size) {
  if (size / sizeof *fds < count) __chk_fail();
  return ppoll(fds, count, timeout, mask);
}

}  // extern "C"
