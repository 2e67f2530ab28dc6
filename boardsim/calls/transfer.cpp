// Sockets of the program: what waits, in virtual time, for the other side.
#include <sys/time.h>

#include <algorithm>
#include <cerrno>

#include "boardsim/calls/calls.h"
#include "boardsim/calls/frame.h"
#include "boardsim/kernel/real.h"

namespace boardsim::calls {
namespace {

bool blocks(int fd, int flags) {
  return (flags & MSG_DONTWAIT) == 0 && (fcntl(fd, F_GETFL) & O_NONBLOCK) == 0;
}

/// End of a wait that begins now, as SO_RCVTIMEO or SO_SNDTIMEO set it.
std::optional<Time> deadline_of(int fd, int option, Time now) {
  timeval limit{};
  socklen_t size = sizeof limit;
  if (getsockopt(fd, SOL_SOCKET, option, &limit, &size) != 0) return std::nullopt;
  const Time span = std::chrono::seconds(limit.tv_sec) + Time(limit.tv_usec);
  if (span.count() == 0) return std::nullopt;
  return now + span;
}

/// Waits for one descriptor. 0, or the errno with which the call ends.
int wait_for(Clock& clock, int fd, short events, std::optional<Time> deadline) {
  pollfd awaited{fd, events, 0};
  const int ready = clock.wait({&awaited, 1}, deadline);
  if (ready > 0) return 0;
  return ready == 0 ? EAGAIN : errno;
}

bool would_wait() {
  return errno == EAGAIN;
}

}  // namespace

int accept(BoardState& board, int fd, sockaddr* address, socklen_t* size, int flags) {
  Frame call(board, Subject::network, "accept", "listener");
  if (const auto faulty = call.meet("accept")) return call.end(*faulty);
  const int result = call.unlocked([&] {
    const std::optional<Time> deadline = deadline_of(fd, SO_RCVTIMEO, call.began());
    const int error = blocks(fd, 0) ? wait_for(board.clock, fd, POLLIN, deadline) : 0;
    return error == 0 ? real::accept4(fd, address, size, flags) : (errno = error, -1);
  });
  if (result < 0) return call.fail(errno);
  board.descriptors.add(result, "station");
  return call.end(result, 0);
}

/// Moves bytes of a socket with `part`, which is given how many have gone before; with `whole`, a socket that
/// blocks moves all of them. `events` is what it waits for, `option` its time-out.
template <class Part>
ssize_t transfer(BoardState& board, Frame& call, std::string_view fault, int fd, std::size_t size, bool waits,
                 bool whole, short events, int option, Part part)
    BOARDSIM_LOCKS(requires_capability(board.mutex)) {
  const auto done = [&](ssize_t result, int error) BOARDSIM_LOCKS(requires_capability(board.mutex)) {
    board.serve_application(call.node());
    return call.end<ssize_t>(result, error);
  };
  if (const auto faulty = call.meet(fault)) {
    if (!faulty->at_most) return done(-1, faulty->error);
    size = std::min(size, *faulty->at_most);
  }
  const auto deadline = waits ? deadline_of(fd, option, call.began()) : std::nullopt;
  for (std::size_t moved = 0;;) {
    const ssize_t more = call.unlocked([&] { return part(moved, size - moved); });
    if (more >= 0) {
      moved += static_cast<std::size_t>(more);
      const bool at_end = more == 0 && events == POLLIN;
      if (!whole || !waits || at_end || moved == size) return done(static_cast<ssize_t>(moved), 0);
      continue;
    }
    int error = errno;
    if (would_wait() && waits) {
      board.serve_application(call.node());
      error = call.unlocked([&] { return wait_for(board.clock, fd, events, deadline); });
    }
    if (error == 0) continue;
    return moved > 0 ? done(static_cast<ssize_t>(moved), 0) : done(-1, error);
  }
}

ssize_t recv(BoardState& board, const char* name, int fd, void* buffer, std::size_t size, int flags) {
  Frame call(board, Subject::network, name, "", {static_cast<std::uint32_t>(size)});
  call.set_node(board.name_of(fd));
  return transfer(board, call, "recv", fd, size, blocks(fd, flags), (flags & MSG_WAITALL) != 0, POLLIN,
                  SO_RCVTIMEO, [&](std::size_t from, std::size_t count) {
                    return real::recv(fd, static_cast<char*>(buffer) + from, count, flags | MSG_DONTWAIT);
                  });
}

/// As Linux does, a blocking send returns when all of its bytes have been taken.
ssize_t send(BoardState& board, const char* name, int fd, const void* buffer, std::size_t size, int flags) {
  Frame call(board, Subject::network, name, "", {static_cast<std::uint32_t>(size)});
  call.set_node(board.name_of(fd));
  return transfer(board, call, "send", fd, size, blocks(fd, flags), true, POLLOUT, SO_SNDTIMEO,
                  [&](std::size_t from, std::size_t count) {
                    return real::send(fd, static_cast<const char*>(buffer) + from, count,
                                      flags | MSG_DONTWAIT);
                  });
}

int wait_readable(BoardState& board, int fd, std::optional<Time> deadline) {
  return wait_for(board.clock, fd, POLLIN, deadline);
}

int wait_for_ready(BoardState& board, Call begun_call, std::span<pollfd> fds, std::optional<Time> deadline) {
  const std::string fault = begun_call.name;
  Frame call(board, Subject::network, std::move(begun_call));
  std::string names;
  for (const pollfd& awaited : fds) names.append(names.empty() ? "" : " ").append(board.name_of(awaited.fd));
  call.set_node(names);
  if (const auto faulty = call.meet(fault)) return call.end(*faulty);
  const int ready = call.unlocked([&] { return board.clock.wait(fds, deadline); });
  return call.end(ready, ready < 0 ? errno : 0);
}

bool counts_down(const BoardState& board) {
  const Locked lock(board.mutex);
  return board.select_counts_down;
}

}  // namespace boardsim::calls
