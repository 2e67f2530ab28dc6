// Socket calls by number: the simulated board answers the C library's functions, not these.
#include "tests/harness/wire.h"

#include <arpa/inet.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>

namespace {

/// How often, and in steps of a millisecond, the PC's network stack is looked at before giving up.
constexpr int kLooks = 2000;

template <typename... Arguments>
long call(long number, Arguments... arguments) {
  return ::syscall(number, arguments...);
}

int open_socket() {
  return static_cast<int>(call(SYS_socket, AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

sockaddr_in address_of(const std::string& address, std::uint16_t port) {
  sockaddr_in result = {};
  result.sin_family = AF_INET;
  result.sin_port = htons(port);
  result.sin_addr.s_addr = inet_addr(address.c_str());
  return result;
}

void pause_briefly() {
  call(SYS_poll, nullptr, 0, 1);
}

void set_option(int socket, int level, int option, const void* value, std::size_t size) {
  call(SYS_setsockopt, socket, level, option, value, size);
}

/// Whether `other` is connected with the address of `one`.
bool is_peer_of(int one, int other) {
  sockaddr_in own = {};
  sockaddr_in peer = {};
  socklen_t own_size = sizeof own;
  socklen_t peer_size = sizeof peer;
  return call(SYS_getsockname, one, &own, &own_size) == 0 &&
         call(SYS_getpeername, other, &peer, &peer_size) == 0 && own.sin_port == peer.sin_port &&
         own.sin_addr.s_addr == peer.sin_addr.s_addr;
}

tcp_info info_of(int socket) {
  tcp_info info = {};
  socklen_t size = sizeof info;
  call(SYS_getsockopt, socket, IPPROTO_TCP, TCP_INFO, &info, &size);
  return info;
}

/// Whether the stack of `to` has received all that was sent at `from`. Acknowledgements are asked only when
/// the other end is not at hand: they may be held back for a while.
bool delivered(int from, int to) {
  if (is_peer_of(from, to) && is_peer_of(to, from)) {
    const tcp_info sender = info_of(from);
    return info_of(to).tcpi_bytes_received + sender.tcpi_bytes_retrans >=
           sender.tcpi_bytes_sent + sender.tcpi_notsent_bytes;
  }
  int unacknowledged = 0;
  return call(SYS_ioctl, from, TIOCOUTQ, &unacknowledged) != 0 || unacknowledged == 0;
}

}  // namespace

namespace wire {

int connect(const std::string& address, std::uint16_t port) {
  const int socket = open_socket();
  const sockaddr_in target = address_of(address, port);
  if (socket >= 0 && call(SYS_connect, socket, &target, sizeof target) == 0) return socket;
  const int error = errno;
  close(socket);
  errno = error;
  return -1;
}

int listen(std::uint16_t& port) {
  const int socket = open_socket();
  sockaddr_in own = address_of("127.0.0.1", 0);
  socklen_t size = sizeof own;
  if (call(SYS_bind, socket, &own, sizeof own) != 0 || call(SYS_listen, socket, 1) != 0 ||
      call(SYS_getsockname, socket, &own, &size) != 0) {
    close(socket);
    return -1;
  }
  port = ntohs(own.sin_port);
  return socket;
}

bool send_all(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const long sent = call(SYS_sendto, socket, bytes.data(), bytes.size(), MSG_NOSIGNAL, nullptr, 0);
    if (sent < 0 && errno != EINTR) return false;
    bytes.remove_prefix(static_cast<std::size_t>(std::max(sent, 0L)));
  }
  return true;
}

bool receive(int socket, std::string& received) {
  std::array<char, 4096> buffer;
  while (true) {
    const long size =
        call(SYS_recvfrom, socket, buffer.data(), buffer.size(), MSG_DONTWAIT, nullptr, nullptr);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return errno != EAGAIN;
    if (size == 0) return true;
    received.append(buffer.data(), static_cast<std::size_t>(size));
  }
}

void fill(int socket) {
  const std::array<char, 65536> bytes = {};
  pollfd writable = {.fd = socket, .events = POLLOUT, .revents = 0};
  do {
    while (call(SYS_sendto, socket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL, nullptr, 0) >
           0) {
    }
    // What is on its way inside the PC makes room a little later.
  } while (call(SYS_poll, &writable, 1, 20) > 0);
}

void shut_down_sending(int socket) {
  call(SYS_shutdown, socket, SHUT_WR);
}

void reset(int socket) {
  const linger at_once = {.l_onoff = 1, .l_linger = 0};
  set_option(socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  close(socket);
}

void close(int socket) {
  call(SYS_close, socket);
}

bool is_free(const std::string& address, std::uint16_t port) {
  const int socket = open_socket();
  const sockaddr_in wanted = address_of(address, port);
  const bool free = call(SYS_bind, socket, &wanted, sizeof wanted) == 0;
  close(socket);
  return free;
}

void wait_until_delivered(int from, int to, const std::function<bool()>& enough) {
  for (int look = 0; look < kLooks && !delivered(from, to); ++look) {
    if (enough && enough()) return;
    if (!delivered(from, to)) pause_briefly();
  }
}

void wait_until_ended(int socket) {
  if (socket < 0) return;
  pollfd ended = {.fd = socket, .events = POLLRDHUP, .revents = 0};
  call(SYS_poll, &ended, 1, 1000);
}

}  // namespace wire
