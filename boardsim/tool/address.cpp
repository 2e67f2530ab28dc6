#include "boardsim/tool/address.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace boardsim {
namespace {

constexpr unsigned kAttempts = 4096;
// In /proc/net/tcp: the timer of a connection that waits for its end, and how fast it runs on every machine.
constexpr unsigned kClosingTimer = 3;
constexpr unsigned kTicksPerSecond = 100;

/// The n-th candidate: 127.64.0.1 and up, away from what people type by hand.
std::string candidate(unsigned n) {
  return "127." + std::to_string(64 + (n >> 14) % 64) + "." + std::to_string((n >> 7) % 128) + "." +
         std::to_string(1 + n % 128);
}

/// Whether the program could bind the service port there now; it sets no address reuse either.
bool port_is_free(const std::string& address) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(kServicePort);
  if (inet_pton(AF_INET, address.c_str(), &place.sin_addr) != 1) return false;
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool free = bind(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
  close(fd);
  return free;
}

/// An abstract socket named after the address, which only one process can have; -1 when it is taken.
int lock_on(const std::string& address) {
  const std::string name = "boardsim " + address;
  sockaddr_un place{};
  place.sun_family = AF_UNIX;
  name.copy(place.sun_path + 1, sizeof place.sun_path - 1);
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&place), size) == 0) return fd;
  close(fd);
  return -1;
}

/// Why nobody can bind the service port at an address now, as the kernel's table of TCP sockets tells.
struct PortUse {
  bool closing = false;  ///< only connections of a program that has closed them are left
  unsigned seconds = 0;  ///< until the last of them is gone
};

PortUse port_use(const std::string& address) {
  in_addr wanted{};
  inet_pton(AF_INET, address.c_str(), &wanted);
  PortUse use{.closing = true};
  bool found = false;
  std::ifstream table("/proc/net/tcp");
  for (std::string line; std::getline(table, line);) {
    unsigned local = 0;
    unsigned port = 0;
    unsigned timer = 0;
    unsigned ticks = 0;
    // Its number, local and remote address, state, queues, timer.
    if (std::sscanf(line.c_str(), " %*u: %8X:%4X %*8X:%*4X %*2X %*8X:%*8X %2X:%8X", &local, &port, &timer,
                    &ticks) != 4 ||
        port != kServicePort || (local != wanted.s_addr && local != INADDR_ANY)) {
      continue;
    }
    found = true;
    use.closing &= timer == kClosingTimer;
    use.seconds = std::max(use.seconds, ticks / kTicksPerSecond + 1);
  }
  use.closing &= found;
  return use;
}

}  // namespace

OwnAddress::OwnAddress(const std::string& wanted) {
  if (!wanted.empty()) {
    take_this(wanted);
    return;
  }
  const auto first = static_cast<unsigned>(getpid());
  for (unsigned n = 0; n < kAttempts; ++n) {
    if (take(candidate(first + n)) == Outcome::taken) return;
  }
  throw std::runtime_error("no loopback address is free");
}

OwnAddress::~OwnAddress() {
  close(lock_);
}

void OwnAddress::take_this(const std::string& wanted) {
  const Outcome outcome = take(wanted);
  if (outcome == Outcome::taken) return;
  const std::string text = "the address " + wanted + " is in use: ";
  if (outcome == Outcome::of_another_board) throw std::runtime_error(text + "another board has it now");
  const PortUse use = port_use(wanted);
  const std::string port = std::to_string(kServicePort);
  if (!use.closing) throw std::runtime_error(text + "a program of this PC has port " + port + " there");
  throw std::runtime_error(text + "a program that has ended leaves port " + port +
                           " closing, which takes a minute; it is free in " + std::to_string(use.seconds) +
                           " s at most (without --address a board gets a free one)");
}

OwnAddress::Outcome OwnAddress::take(const std::string& address) {
  lock_ = lock_on(address);
  if (lock_ < 0) return Outcome::of_another_board;
  if (port_is_free(address)) {
    text_ = address;
    return Outcome::taken;
  }
  close(lock_);
  lock_ = -1;
  return Outcome::port_in_use;
}

bool is_loopback(const std::string& address) {
  in_addr parsed{};
  return inet_pton(AF_INET, address.c_str(), &parsed) == 1 && address.starts_with("127.");
}

}  // namespace boardsim
