// A loopback address of its own for each simulated board.
#include "boardsim/tool/address.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>

namespace boardsim {
namespace {

constexpr unsigned kAttempts = 4096;

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

}  // namespace

OwnAddress::OwnAddress(const std::string& wanted) {
  if (!wanted.empty()) {
    in_addr address{};
    if (inet_pton(AF_INET, wanted.c_str(), &address) != 1 || !wanted.starts_with("127.")) {
      throw std::runtime_error(wanted + " is no loopback address (127.x.y.z)");
    }
    if (!take(wanted)) throw std::runtime_error("the address " + wanted + " is in use");
    return;
  }
  const auto first = static_cast<unsigned>(getpid());
  for (unsigned n = 0; n < kAttempts; ++n) {
    if (take(candidate(first + n))) return;
  }
  throw std::runtime_error("no loopback address is free");
}

OwnAddress::~OwnAddress() {
  close(lock_);
}

bool OwnAddress::take(const std::string& address) {
  lock_ = lock_on(address);
  if (lock_ < 0) return false;
  if (port_is_free(address)) {
    text_ = address;
    return true;
  }
  close(lock_);
  lock_ = -1;
  return false;
}

}  // namespace boardsim
