// Waiting for descriptors.
#include <poll.h>
#include <sys/select.h>

#include "boardrec/memory/copies.h"
#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/times.h"

using boardrec::Call;
using boardrec::Entry;
using boardrec::WideTimespec;
using boardrec::WideTimeval;

extern "C" {
int __poll_chk(pollfd* fds, nfds_t count, int timeout, size_t size);
int __select64(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, WideTimeval* timeout);
int __pselect64(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                const WideTimespec* timeout, const sigset_t* mask);
}

BOARDREC_NEXT(select);
BOARDREC_NEXT(__select64);
BOARDREC_NEXT(pselect);
BOARDREC_NEXT(__pselect64);
BOARDREC_NEXT(poll);
BOARDREC_NEXT(__poll_chk);
BOARDREC_NEXT(ppoll);

namespace {

constexpr int kMostDescriptors = FD_SETSIZE;

struct Sets {
  fd_set* sets[3];
};

/// The sets and the time that go in, copied before the call changes them.
template <typename Time>
struct Handed {
  unsigned char sets[3][kMostDescriptors / 8]{};
  Time time{};
  bool there = false;

  Handed(const Sets& given, std::size_t size, const Time* timeout) {
    boardrec::Part parts[4];
    std::size_t count = 0;
    for (int i = 0; i < 3; ++i) {
      if (given.sets[i] != nullptr) parts[count++] = {given.sets[i], sets[i], size};
    }
    if (timeout != nullptr) parts[count++] = {timeout, &time, sizeof time};
    const boardrec::kernel::Locked lock(boardrec::shared);
    there = boardrec::copy_parts(parts, count);
  }
};

/// `timeout` is changed by select, not by pselect; nothing tells of a mask of signals.
template <typename Time, typename Function>
int select_any(int count, const Sets& given, const Time* timeout, Function function) {
  Entry entry(Call::select);
  if (!entry) return function();
  entry.in(count);
  const bool counts = count >= 0 && count <= kMostDescriptors;
  const std::size_t size = counts ? (static_cast<std::size_t>(count) + 7) / 8 : 0;
  const Handed<Time> handed(given, size, timeout);
  const bool whole = counts && handed.there;
  if (!whole) entry.flag(boardrec::kNotRecorded);
  for (int i = 0; i < 3; ++i) {
    whole&& given.sets[i] != nullptr ? entry.in_own(handed.sets[i], size) : entry.in_absent();
  }
  whole&& timeout != nullptr ? entry.in(boardrec::nanoseconds(handed.time)) : entry.in_absent();
  const int result = entry.make_cancellable(function);
  if (result >= 0 && whole) {
    for (const fd_set* set : given.sets) set != nullptr ? entry.out_own(set, size) : entry.out_absent();
    if (timeout != nullptr) entry.out(boardrec::nanoseconds(*timeout));
  }
  return entry.end(result);
}

constexpr nfds_t kMostEntries = 64;

/// The entries that go in, copied before the call changes them. A wait that never ends has no time.
template <typename Function>
int poll_any(const pollfd* fds, nfds_t count, bool ends, std::int64_t time, Function function) {
  static_assert(sizeof(pollfd) == sizeof(boardrec::PollEntry));
  Entry entry(Call::poll);
  if (!entry) return function();
  pollfd handed[kMostEntries];
  const std::size_t size = count <= kMostEntries ? count * sizeof(pollfd) : 0;
  bool there = count <= kMostEntries;
  if (there && count > 0) {
    const boardrec::kernel::Locked lock(boardrec::shared);
    there = boardrec::copy_block(fds, handed, size);
  }
  there ? entry.in_own(handed, size) : entry.in_absent();
  if (!there) entry.flag(boardrec::kNotRecorded);
  ends ? entry.in(time) : entry.in_absent();
  const int result = entry.make_cancellable(function);
  if (result >= 0 && there) entry.out_own(fds, size);
  return entry.end(result);
}

constexpr std::int64_t kMillisecond = 1'000'000;

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
  return select_any(count, {{readable, writable, exceptional}}, timeout,
                    [=] { return next_select(count, readable, writable, exceptional, timeout); });
}
int __select64(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, WideTimeval* timeout) {
  return select_any(count, {{readable, writable, exceptional}}, timeout,
                    [=] { return next___select64(count, readable, writable, exceptional, timeout); });
}
int pselect(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, const timespec* timeout,
            const sigset_t* mask) {
  return select_any(count, {{readable, writable, exceptional}}, timeout,
                    [=] { return next_pselect(count, readable, writable, exceptional, timeout, mask); });
}
int __pselect64(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                const WideTimespec* timeout, const sigset_t* mask) {
  return select_any(count, {{readable, writable, exceptional}}, timeout,
                    [=] { return next___pselect64(count, readable, writable, exceptional, timeout, mask); });
}

int poll(pollfd* fds, nfds_t count, int timeout) {
  return poll_any(fds, count, timeout >= 0, timeout * kMillisecond,
                  [=] { return next_poll(fds, count, timeout); });
}
int __poll_chk(pollfd* fds, nfds_t count, int timeout, size_t size) {
  return poll_any(fds, count, timeout >= 0, timeout * kMillisecond,
                  [=] { return next___poll_chk(fds, count, timeout, size); });
}
int ppoll(pollfd* fds, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  timespec time{};
  bool there = false;
  if (timeout != nullptr && boardrec::this_thread.number >= 0 && boardrec::this_thread.depth == 0) {
    ++boardrec::this_thread.depth;
    boardrec::shared.take();
    there = boardrec::copy_block(timeout, &time, sizeof time);
    boardrec::shared.give();
    --boardrec::this_thread.depth;
  }
  return poll_any(fds, count, there, boardrec::nanoseconds(time),
                  [=] { return next_ppoll(fds, count, timeout, mask); });
}

}  // extern "C"
#pragma GCC visibility pop
