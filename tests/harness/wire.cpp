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
#include <stdexcept>
#include <type_traits>

namespace {

/// How often, and in steps of a millisecond, the PC's network stack is looked at before giving up.
constexpr int kLooks = 10000;

/// Milliseconds without any change that make a connection a full one, where nothing tells so.
constexpr int kStillness = 200;

// States of a connection as the kernel numbers them.
constexpr unsigned kFinWait1 = 4;      // its end is on its way
constexpr unsigned kNotConnected = 7;  // it is none any more

[[noreturn]] void give_up(std::string_view awaited) {
  throw std::runtime_error("waited 10 s in vain until " + std::string(awaited));
}

template <typename Argument>
long word(Argument argument) {
  if constexpr (std::is_pointer_v<Argument>) {
    return reinterpret_cast<long>(argument);
  } else if constexpr (std::is_null_pointer_v<Argument>) {
    return 0;
  } else {
    return static_cast<long>(argument);
  }
}

template <typename... Arguments>
long call(long number, Arguments... arguments) {
  return ::syscall(number, word(arguments)...);
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

bool has_event(int socket, short events, int milliseconds) {
  pollfd awaited = {.fd = socket, .events = events, .revents = 0};
  return call(SYS_poll, &awaited, 1, milliseconds) > 0;
}

/// Connects the socket, or closes it: -1 with errno.
int connect_from(int socket, const std::string& address, std::uint16_t port) {
  constexpr int yes = 1;
  set_option(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  const sockaddr_in target = address_of(address, port);
  if (socket >= 0 && call(SYS_connect, socket, &target, sizeof target) == 0) return socket;
  const int error = errno;
  wire::close(socket);
  errno = error;
  return -1;
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

/// What the kernel tells of a connection. An emulator of another processor passes on the state only.
struct Info : tcp_info {
  bool is_whole = false;
};

Info info_of(int socket) {
  Info info = {};
  socklen_t size = sizeof(tcp_info);
  call(SYS_getsockopt, socket, IPPROTO_TCP, TCP_INFO, static_cast<tcp_info*>(&info), &size);
  info.is_whole = size > sizeof(int);
  return info;
}

/// Whether the stack of `to` has received all that was sent at `from`. Acknowledgements are asked only when
/// the other end is not at hand: they may be held back for a while.
bool delivered(int from, int to) {
  const Info sender = info_of(from);
  if (sender.tcpi_state == kNotConnected) return true;  // what has not arrived by now never will
  if (sender.is_whole && wire::are_connected(from, to)) {
    return info_of(to).tcpi_bytes_received + sender.tcpi_bytes_retrans >=
           sender.tcpi_bytes_sent + sender.tcpi_notsent_bytes;
  }
  int unacknowledged = 0;
  return call(SYS_ioctl, from, TIOCOUTQ, &unacknowledged) != 0 || unacknowledged == 0;
}

/// Whether no room comes by itself any more: nothing is on its way, and the send buffer stays full even
/// when the peer's window takes what it still can.
bool is_full(int socket) {
  if (has_event(socket, POLLOUT, 0)) return false;
  const Info sender = info_of(socket);
  if (!sender.is_whole) return !has_event(socket, POLLOUT, kStillness);
  if (sender.tcpi_unacked > 0 || sender.tcpi_notsent_bytes == 0) return false;
  unsigned buffer = 0;
  socklen_t size = sizeof buffer;
  call(SYS_getsockopt, socket, SOL_SOCKET, SO_SNDBUF, &buffer, &size);
  return sender.tcpi_snd_wnd == 0 || sender.tcpi_notsent_bytes >= sender.tcpi_snd_wnd + buffer;
}

}  // namespace

namespace wire {

int connect(const std::string& address, std::uint16_t port) {
  return connect_from(open_socket(), address, port);
}

int connect_narrowly(const std::string& address, std::uint16_t port) {
  constexpr int smallest = 1;  // the kernel makes it as small as it can
  constexpr int packet = 536;  // small packets let the other end's buffer stay small too
  const int socket = open_socket();
  set_option(socket, SOL_SOCKET, SO_RCVBUF, &smallest, sizeof smallest);
  set_option(socket, IPPROTO_TCP, TCP_MAXSEG, &packet, sizeof packet);
  return connect_from(socket, address, port);
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

void acknowledge(int socket) {
  constexpr int yes = 1;
  set_option(socket, IPPROTO_TCP, TCP_QUICKACK, &yes, sizeof yes);
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
  constexpr int smallest = 1;  // the kernel makes it as small as it can
  set_option(socket, SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
  const std::array<char, 65536> bytes = {};
  const auto is_full_at_last = [&] {  // what is on its way inside the PC makes room a little later
    while (call(SYS_sendto, socket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL, nullptr, 0) >
           0) {
    }
    return is_full(socket);
  };
  wait_until(is_full_at_last, "a connection was full");
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

bool are_connected(int one, int other) {
  return is_peer_of(one, other) && is_peer_of(other, one);
}

void wait_until(const std::function<bool()>& done, std::string_view what) {
  for (int look = 0; look < kLooks; ++look) {
    if (done()) return;
    if (look > 0) pause_briefly();
  }
  give_up(what);
}

void wait_until_delivered(int from, int to, const std::function<bool()>& enough) {
  wait_until([&] { return delivered(from, to) || (enough && enough()); }, "the other end had what was sent");
}

void wait_until_readable(int socket, std::string_view awaited) {
  if (!has_event(socket, POLLIN, kLooks)) give_up("there was " + std::string(awaited));
}

void wait_until_end_has_arrived(int socket) {
  wait_until([socket] { return info_of(socket).tcpi_state != kFinWait1; }, "the other end had the end");
}

void wait_until_ended(int socket) {
  if (socket >= 0 && !has_event(socket, POLLRDHUP, kLooks)) give_up("a connection ended");
}

void wait_until_writable(int socket) {
  if (!has_event(socket, POLLOUT, kLooks)) give_up("a connection took bytes again");
}

}  // namespace wire
