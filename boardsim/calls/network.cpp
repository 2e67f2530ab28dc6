// Sockets of the program: the PC's own loopback, with the board's interfaces, faults and trace.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "boardsim/board/state.h"
#include "boardsim/kernel/real.h"

namespace boardsim {
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

}  // namespace

std::string BoardState::name_of(int fd) {
  const Descriptor* known = descriptors.find(fd);
  return known != nullptr ? known->name : "station";
}

int BoardState::socket(int domain, int type, int protocol) {
  const std::lock_guard lock(mutex);
  Call call = begin("socket", "");
  if (const auto faulty = call_faults.meet("socket")) {
    return static_cast<int>(finish(std::move(call), Subject::network, -1, faulty->error));
  }
  const Outcome outcome(real::socket(domain, type, protocol));
  if (outcome.result >= 0) descriptors.add(outcome.result, "socket");
  return static_cast<int>(finish(std::move(call), Subject::network, outcome.result, outcome.error));
}

int BoardState::socketpair(int domain, int type, int protocol, int* fds) {
  const std::lock_guard lock(mutex);
  const Outcome outcome(real::socketpair(domain, type, protocol, fds));
  if (outcome.result == 0) {
    descriptors.add(fds[0], "station");
    descriptors.add(fds[1], "station");
  }
  return static_cast<int>(finish(begin("socketpair", ""), Subject::network, outcome.result, outcome.error));
}

int BoardState::bind(int fd, const sockaddr* address, socklen_t size) {
  const std::lock_guard lock(mutex);
  auto internet = ipv4(address, size);
  Call call = begin("bind", internet ? address_text(*internet) : "");
  const auto done = [&](int result, int error) {
    return static_cast<int>(finish(std::move(call), Subject::network, result, error));
  };
  if (const auto faulty = call_faults.meet("bind")) return done(-1, faulty->error);
  if (address != nullptr && address->sa_family != AF_INET && address->sa_family != AF_UNIX) {
    return done(-1, EADDRNOTAVAIL);
  }
  if (internet && !is_loopback(internet->sin_addr)) {
    if (internet->sin_addr.s_addr != htonl(INADDR_ANY)) return done(-1, EADDRNOTAVAIL);
    // Nothing that a simulated board does is to be seen from other machines.
    if (!conduct.every_address) inet_pton(AF_INET, conduct.own_address.c_str(), &internet->sin_addr);
  }
  const sockaddr* const used = internet ? reinterpret_cast<const sockaddr*>(&*internet) : address;
  const Outcome outcome(real::bind(fd, used, size));
  return done(outcome.result, outcome.error);
}

int BoardState::listen(int fd, int backlog) {
  const std::lock_guard lock(mutex);
  Call call = begin("listen", "listener", {static_cast<std::uint32_t>(backlog)});
  if (const auto faulty = call_faults.meet("listen")) {
    return static_cast<int>(finish(std::move(call), Subject::network, -1, faulty->error));
  }
  const Outcome outcome(real::listen(fd, backlog));
  if (outcome.result == 0) descriptors.add(fd, "listener");
  return static_cast<int>(finish(std::move(call), Subject::network, outcome.result, outcome.error));
}

int BoardState::connect(int fd, const sockaddr* address, socklen_t size) {
  const auto internet = ipv4(address, size);
  Call call = begin("connect", internet ? address_text(*internet) : "");
  const auto done = [&](int result, int error) {
    const std::lock_guard lock(mutex);
    if (result == 0) descriptors.add(fd, "station");
    return static_cast<int>(finish(std::move(call), Subject::network, result, error));
  };
  if (const auto faulty = meet("connect")) return done(-1, faulty->error);
  if (internet && is_application(*internet)) return call_application(fd, std::move(call));
  const bool local =
      internet ? is_loopback(internet->sin_addr) : address == nullptr || address->sa_family == AF_UNIX;
  if (!local) {
    if (!internet) call.node = foreign_text(address, size);
    const std::string text = "connecting to " + call.node + " would leave the PC (connect)";
    const int result = done(-1, ENETUNREACH);
    const std::lock_guard lock(mutex);
    violation(text);
    return result;
  }
  const WithoutBlocking at_once(fd);
  const Outcome outcome(real::connect(fd, address, size));
  if (!at_once.was_blocking() || outcome.error != EINPROGRESS) return done(outcome.result, outcome.error);
  pollfd writable{fd, POLLOUT, 0};
  if (clock.wait({&writable, 1}, std::nullopt) < 0) return done(-1, errno);
  int error = 0;
  socklen_t error_size = sizeof error;
  getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &error_size);
  return done(error == 0 ? 0 : -1, error);
}

int BoardState::call_application(int fd, Call call) {
  const std::lock_guard lock(mutex);
  const int error = devices.application.connect(fd);
  if (error == 0) descriptors.add(fd, std::string(Application::kSocketName));
  return static_cast<int>(finish(std::move(call), Subject::network, error == 0 ? 0 : -1, error));
}

void BoardState::serve_application(std::string_view socket_name) {
  if (socket_name == Application::kSocketName) devices.application.serve();
}

int BoardState::shutdown(int fd, int how) {
  const std::lock_guard lock(mutex);
  Call call = begin("shutdown", name_of(fd), {static_cast<std::uint32_t>(how)});
  const Outcome outcome(real::shutdown(fd, how));
  serve_application(call.node);
  return static_cast<int>(finish(std::move(call), Subject::network, outcome.result, outcome.error));
}

int BoardState::interface_address(void* argument) {
  const std::lock_guard lock(mutex);
  ifreq request{};
  if (argument != nullptr) std::memcpy(&request, argument, sizeof request);
  request.ifr_name[IFNAMSIZ - 1] = '\0';
  const std::string_view name = request.ifr_name;
  Call call = begin("ioctl", name);
  call.request = SIOCGIFADDR;
  const auto done = [&](int error) {
    return static_cast<int>(finish(std::move(call), Subject::network, error == 0 ? 0 : -1, error));
  };
  if (argument == nullptr) return done(EFAULT);
  const std::string address = address_of(name);
  sockaddr_in answer{};
  answer.sin_family = AF_INET;
  if (inet_pton(AF_INET, address.c_str(), &answer.sin_addr) != 1) return done(ENODEV);
  std::memcpy(&request.ifr_addr, &answer, sizeof answer);
  std::memcpy(argument, &request, sizeof request);
  return done(0);
}

std::string BoardState::address_of(std::string_view interface) const {
  const auto fault = interface_faults.find(interface);
  if (fault != interface_faults.end()) return fault->second;
  const auto healthy = interfaces.find(interface);
  return healthy != interfaces.end() ? healthy->second : "";
}

void BoardState::check_address(std::string_view address) const {
  const std::string text(address);
  in_addr parsed{};
  if (inet_pton(AF_INET, text.c_str(), &parsed) != 1) {
    throw std::invalid_argument("interface: \"" + text + "\" is no IPv4 address");
  }
  if (conduct.loopback_only && !is_loopback(parsed)) {
    throw std::invalid_argument("interface: " + text + " is no loopback address (127.x.y.z)");
  }
}

void BoardState::set_interface(std::string_view name, std::string_view address) {
  if (!address.empty()) check_address(address);
  interfaces.insert_or_assign(std::string(name), std::string(address));
}

}  // namespace boardsim
