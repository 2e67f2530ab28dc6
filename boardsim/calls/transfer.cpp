// Sockets of the program: what waits, in virtual time, for the other side.
#include <sys/time.h>

#include <cerrno>

#include "boardsim/board/state.h"
#include "boardsim/kernel/real.h"

namespace boardsim {
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

void BoardState::look_at_application(std::string_view socket_name) {
  const std::lock_guard lock(mutex);
  serve_application(socket_name);
}

int BoardState::accept(int fd, sockaddr* address, socklen_t* size, int flags) {
  Call call = begin("accept", "listener");
  const auto done = [&](int result, int error) {
    const std::lock_guard lock(mutex);
    if (result >= 0) descriptors.add(result, "station");
    return static_cast<int>(finish(std::move(call), Subject::network, result, error));
  };
  if (const auto faulty = meet("accept")) return done(-1, faulty->error);
  if (blocks(fd, 0)) {
    if (const int error = wait_for(clock, fd, POLLIN, deadline_of(fd, SO_RCVTIMEO, call.at))) {
      return done(-1, error);
    }
  }
  const int result = real::accept4(fd, address, size, flags);
  return done(result, result < 0 ? errno : 0);
}

ssize_t BoardState::recv(const char* name, int fd, void* buffer, std::size_t size, int flags) {
  Call call;
  std::optional<FaultyCall> faulty;
  {
    const std::lock_guard lock(mutex);
    call = begin(name, name_of(fd), {static_cast<std::uint32_t>(size)});
    faulty = call_faults.meet("recv");
  }
  const auto done = [&](ssize_t result, int error) {
    const std::lock_guard lock(mutex);
    serve_application(call.node);
    return finish(std::move(call), Subject::network, result, error);
  };
  if (faulty && !faulty->at_most) return done(-1, faulty->error);
  if (faulty) size = std::min(size, *faulty->at_most);
  const bool waits = blocks(fd, flags);
  const auto deadline = waits ? deadline_of(fd, SO_RCVTIMEO, call.at) : std::nullopt;
  std::size_t received = 0;
  for (;;) {
    const ssize_t part =
        real::recv(fd, static_cast<char*>(buffer) + received, size - received, flags | MSG_DONTWAIT);
    if (part >= 0) {
      received += static_cast<std::size_t>(part);
      if ((flags & MSG_WAITALL) == 0 || !waits || part == 0 || received == size) {
        return done(static_cast<ssize_t>(received), 0);
      }
      continue;
    }
    int error = errno;
    if (would_wait() && waits) {
      look_at_application(call.node);
      error = wait_for(clock, fd, POLLIN, deadline);
    }
    if (error == 0) continue;
    return received > 0 ? done(static_cast<ssize_t>(received), 0) : done(-1, error);
  }
}

/// As Linux does, a blocking send returns when all of its bytes have been taken.
ssize_t BoardState::send(const char* name, int fd, const void* buffer, std::size_t size, int flags) {
  Call call;
  std::optional<FaultyCall> faulty;
  {
    const std::lock_guard lock(mutex);
    call = begin(name, name_of(fd), {static_cast<std::uint32_t>(size)});
    faulty = call_faults.meet("send");
  }
  const auto done = [&](ssize_t result, int error) {
    const std::lock_guard lock(mutex);
    serve_application(call.node);
    return finish(std::move(call), Subject::network, result, error);
  };
  if (faulty && !faulty->at_most) return done(-1, faulty->error);
  if (faulty) size = std::min(size, *faulty->at_most);
  const bool waits = blocks(fd, flags);
  const auto deadline = waits ? deadline_of(fd, SO_SNDTIMEO, call.at) : std::nullopt;
  std::size_t sent = 0;
  for (;;) {
    const ssize_t part =
        real::send(fd, static_cast<const char*>(buffer) + sent, size - sent, flags | MSG_DONTWAIT);
    if (part >= 0) {
      sent += static_cast<std::size_t>(part);
      if (sent == size || !waits) return done(static_cast<ssize_t>(sent), 0);
      continue;
    }
    int error = errno;
    if (would_wait() && waits) {
      look_at_application(call.node);
      error = wait_for(clock, fd, POLLOUT, deadline);
    }
    if (error == 0) continue;
    return sent > 0 ? done(static_cast<ssize_t>(sent), 0) : done(-1, error);
  }
}

int BoardState::wait_readable(int fd, std::optional<Time> deadline) {
  return wait_for(clock, fd, POLLIN, deadline);
}

int BoardState::wait_for_ready(Call call, std::span<pollfd> fds, std::optional<Time> deadline) {
  std::optional<FaultyCall> faulty;
  {
    const std::lock_guard lock(mutex);
    for (const pollfd& awaited : fds) {
      if (!call.node.empty()) call.node.append(" ");
      call.node.append(name_of(awaited.fd));
    }
    faulty = call_faults.meet(call.name);
  }
  int ready = -1;
  int error = 0;
  if (faulty) {
    error = faulty->error;
  } else {
    ready = clock.wait(fds, deadline);
    if (ready < 0) error = errno;
  }
  const std::lock_guard lock(mutex);
  return static_cast<int>(finish(std::move(call), Subject::network, ready, error));
}

bool BoardState::counts_down() const {
  const std::lock_guard lock(mutex);
  return select_counts_down;
}

}  // namespace boardsim
