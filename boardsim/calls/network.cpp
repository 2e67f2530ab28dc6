// Sockets of the program: the PC's own loopback, with the board's interfaces, faults and trace.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>

#include "boardsim/calls/calls.h"
#include "boardsim/calls/frame.h"
#include "boardsim/kernel/real.h"

namespace boardsim::calls {
namespace {

constexpr std::uint32_t kLoopbackNetwork = 127;

bool is_loopback(in_addr address) {
  return ntohl(address.s_addr) >> 24 == kLoopbackNetwork;
}

bool is_application(const sockaddr_in& address) {
  return address.sin_addr.s_addr == htonl(INADDR_LOOPBACK) && ntohs(address.sin_port) == Application::kPort;
}

std::string address_text(const sockaddr_in& address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
  return std::string(text) + ":" + std::to_string(ntohs(address.sin_port));
}

/// A peer that is neither IPv4 nor a socket of this PC, for a message.
std::string foreign_text(const sockaddr* address, socklen_t size) {
  sockaddr_in6 internet{};
  if (address->sa_family != AF_INET6 || size < sizeof internet) {
    return "an address of family " + std::to_string(address->sa_family);
  }
  std::memcpy(&internet, address, sizeof internet);
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(AF_INET6, &internet.sin6_addr, text, sizeof text);
  return "[" + std::string(text) + "]:" + std::to_string(ntohs(internet.sin6_port));
}

/// The IPv4 address in `address`; nothing for another kind.
std::optional<sockaddr_in> ipv4(const sockaddr* address, socklen_t size) {
  sockaddr_in result{};
  if (address == nullptr || address->sa_family != AF_INET || size < sizeof result) return std::nullopt;
  std::memcpy(&result, address, sizeof result);
  return result;
}

/// The result of a call of the C library's and the errno that it left.
struct Outcome {
  int result;
  int error;
  explicit Outcome(int its_result) : result(its_result), error(its_result < 0 ? errno : 0) {}
};

/// Lets a socket's connect return at once; afterwards it is as it was.
class WithoutBlocking {
 public:
  explicit WithoutBlocking(int fd) : fd_(fd), flags_(fcntl(fd, F_GETFL)) {
    fcntl(fd_, F_SETFL, flags_ | O_NONBLOCK);
  }
  ~WithoutBlocking() { fcntl(fd_, F_SETFL, flags_); }
  WithoutBlocking(const WithoutBlocking&) = delete;
  WithoutBlocking& operator=(const WithoutBlocking&) = delete;
  bool was_blocking() const { return (flags_ & O_NONBLOCK) == 0; }

 private:
  int fd_;
  int flags_;
};

/// Connects a socket to one of this PC, in virtual time. 0, or the errno of connect(2).
int connect_here(Clock& clock, int fd, const sockaddr* address, socklen_t size) {
  const WithoutBlocking at_once(fd);
  const Outcome outcome(real::connect(fd, address, size));
  if (!at_once.was_blocking() || outcome.error != EINPROGRESS) return outcome.error;
  pollfd writable{fd, POLLOUT, 0};
  if (clock.wait({&writable, 1}, std::nullopt) < 0) return errno;
  int error = 0;
  socklen_t error_size = sizeof error;
  getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &error_size);
  return error;
}

}  // namespace

int socket(BoardState& board, int domain, int type, int protocol) {
  Frame call(board, Subject::network, "socket");
  if (const auto faulty = call.meet("socket")) return call.end(*faulty);
  const Outcome outcome(real::socket(domain, type, protocol));
  if (outcome.result >= 0) board.descriptors.add(outcome.result, "socket");
  return call.end(outcome.result, outcome.error);
}

int socketpair(BoardState& board, int domain, int type, int protocol, int* fds) {
  Frame call(board, Subject::network, "socketpair");
  const Outcome outcome(real::socketpair(domain, type, protocol, fds));
  if (outcome.result == 0) {
    board.descriptors.add(fds[0], "station");
    board.descriptors.add(fds[1], "station");
  }
  return call.end(outcome.result, outcome.error);
}

int bind(BoardState& board, int fd, const sockaddr* address, socklen_t size) {
  auto internet = ipv4(address, size);
  Frame call(board, Subject::network, "bind", internet ? address_text(*internet) : "");
  if (const auto faulty = call.meet("bind")) return call.end(*faulty);
  if (address != nullptr && address->sa_family != AF_INET && address->sa_family != AF_UNIX) {
    return call.fail(EADDRNOTAVAIL);
  }
  if (internet && !is_loopback(internet->sin_addr)) {
    if (internet->sin_addr.s_addr != htonl(INADDR_ANY)) return call.fail(EADDRNOTAVAIL);
    // Nothing that a simulated board does is to be seen from other machines.
    if (!board.process_rules.every_address) {
      inet_pton(AF_INET, board.process_rules.own_address.c_str(), &internet->sin_addr);
    }
  }
  const sockaddr* const used = internet ? reinterpret_cast<const sockaddr*>(&*internet) : address;
  const Outcome outcome(real::bind(fd, used, size));
  return call.end(outcome.result, outcome.error);
}

int listen(BoardState& board, int fd, int backlog) {
  Frame call(board, Subject::network, "listen", "listener", {static_cast<std::uint32_t>(backlog)});
  if (const auto faulty = call.meet("listen")) return call.end(*faulty);
  const Outcome outcome(real::listen(fd, backlog));
  if (outcome.result == 0) board.descriptors.add(fd, "listener");
  return call.end(outcome.result, outcome.error);
}

int connect(BoardState& board, int fd, const sockaddr* address, socklen_t size) {
  const auto internet = ipv4(address, size);
  Frame call(board, Subject::network, "connect", internet ? address_text(*internet) : "");
  if (const auto faulty = call.meet("connect")) return call.end(*faulty);
  if (internet && is_application(*internet)) {
    const int error = board.devices.application.connect(fd);
    if (error != 0) return call.fail(error);
    board.descriptors.add(fd, std::string(Application::kSocketName));
    return call.end(0, 0);
  }
  const bool local =
      internet ? is_loopback(internet->sin_addr) : address == nullptr || address->sa_family == AF_UNIX;
  if (!local) {
    if (!internet) call.set_node(foreign_text(address, size));
    const std::string text = "connecting to " + call.node() + " would leave the PC (connect)";
    const int result = call.fail(ENETUNREACH);
    board.violation(text);
    return result;
  }
  const int error = call.unlocked([&] { return connect_here(board.clock, fd, address, size); });
  if (error != 0) return call.fail(error);
  board.descriptors.add(fd, "station");
  return call.end(0, 0);
}

int shutdown(BoardState& board, int fd, int how) {
  Frame call(board, Subject::network, "shutdown", "", {static_cast<std::uint32_t>(how)});
  call.set_node(board.name_of(fd));
  const Outcome outcome(real::shutdown(fd, how));
  board.serve_application(call.node());
  return call.end(outcome.result, outcome.error);
}

int interface_address(BoardState& board, void* argument) {
  ifreq request{};
  if (argument != nullptr) std::memcpy(&request, argument, sizeof request);
  request.ifr_name[IFNAMSIZ - 1] = '\0';
  Frame call(board, Subject::network, "ioctl", request.ifr_name);
  call.set_request(SIOCGIFADDR);
  if (argument == nullptr) return call.fail(EFAULT);
  const std::string address = board.address_of(request.ifr_name);
  sockaddr_in answer{};
  answer.sin_family = AF_INET;
  if (inet_pton(AF_INET, address.c_str(), &answer.sin_addr) != 1) return call.fail(ENODEV);
  std::memcpy(&request.ifr_addr, &answer, sizeof answer);
  std::memcpy(argument, &request, sizeof request);
  return call.end(0, 0);
}

}  // namespace boardsim::calls
