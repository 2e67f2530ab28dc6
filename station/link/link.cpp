// TCP with non-blocking sockets and poll().
#include "station/link/link.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <memory>

#include "station/link/wait.h"
#include "station/text/errors.h"

namespace t1station {
namespace {

constexpr double kSendPatience = 10;  // seconds without any progress

// Connects one socket; 0, or the error number.
int connect_within(int socket, const addrinfo& where, double seconds, const Interrupt& interrupt) {
  if (connect(socket, where.ai_addr, where.ai_addrlen) == 0) return 0;
  if (errno != EINPROGRESS) return errno;
  switch (wait_for(socket, POLLOUT, seconds, interrupt)) {
    case Waited::interrupted:
      return EINTR;
    case Waited::timed_out:
      return ETIMEDOUT;
    case Waited::ready:
      break;
  }
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

// What a board looks like that is switched off, or starting, or whose server is.
bool is_absence(int error) {
  constexpr std::array absences{ECONNREFUSED, ECONNRESET,  ETIMEDOUT, EHOSTUNREACH,
                                EHOSTDOWN,    ENETUNREACH, ENETDOWN};
  return std::find(absences.begin(), absences.end(), error) != absences.end();
}

// 0, or the error number.
int bind_to_interface(int socket, const std::string& interface) {
  if (interface.empty()) return 0;
  const auto size = static_cast<socklen_t>(interface.size() + 1);
  return setsockopt(socket, SOL_SOCKET, SO_BINDTODEVICE, interface.c_str(), size) == 0 ? 0 : errno;
}

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

AddressList look_up(const Address& address) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &found);
  if (error != 0)
    throw NotThereYet("no address is known for \"" + address.host + "\": " + gai_strerror(error));
  return {found, &freeaddrinfo};
}

}  // namespace

Address parse_address(const std::string& text) {
  const std::size_t colon = text.find(':');
  Address address{text.substr(0, colon), kDefaultPort};
  if (colon != std::string::npos) address.port = text.substr(colon + 1);
  std::uint16_t port = 0;
  const char* end = address.port.data() + address.port.size();
  const auto [stop, error] = std::from_chars(address.port.data(), end, port);
  if (address.host.empty() || error != std::errc() || stop != end || port == 0) {
    throw UsageError("\"" + text + "\" is no address of a board; HOST or HOST:PORT is due");
  }
  return address;
}

std::string trouble_with_interface(const std::string& interface) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return error_text(errno);
  const int error = bind_to_interface(socket, interface);
  close(socket);
  if (error == 0) return {};
  if (error == ENODEV) return "this PC has no network interface " + interface;
  return "connections cannot be bound to the network interface " + interface + ": " + error_text(error);
}

TcpLink::TcpLink(const Address& address, double seconds, const Interrupt& interrupt) : interrupt_(interrupt) {
  const int error = try_all(address, seconds);
  if (error == EINTR) throw LinkError("interrupted while connecting to " + address.text());
  if (error != 0) {
    const std::string way = address.interface.empty() ? "" : " through " + address.interface;
    const std::string reason = "no connection to " + address.text() + way + ": " + error_text(error);
    if (is_absence(error)) throw NotThereYet(reason);
    throw LinkError(reason);
  }
  const int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// Tries each of the host's addresses once; 0, or the last error number.
int TcpLink::try_all(const Address& address, double seconds) {
  const AddressList list = look_up(address);
  int error = ECONNREFUSED;
  for (const addrinfo* where = list.get(); where && socket_ < 0 && error != EINTR; where = where->ai_next) {
    const int socket = ::socket(where->ai_family, where->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    error = socket < 0 ? errno : bind_to_interface(socket, address.interface);
    if (error == 0) error = connect_within(socket, *where, seconds, interrupt_);
    if (error == 0) {
      socket_ = socket;
    } else if (socket >= 0) {
      close(socket);
    }
  }
  return error;
}

TcpLink::~TcpLink() {
  close(socket_);
}

void TcpLink::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    } else if (errno == EAGAIN) {
      if (wait_for(socket_, POLLOUT, kSendPatience, interrupt_) != Waited::ready) {
        throw LinkError("the board takes no more bytes");
      }
    } else if (errno != EINTR) {
      throw LinkError("sending failed: " + error_text(errno));
    }
  }
}

Received TcpLink::receive(double seconds) {
  switch (wait_for(socket_, POLLIN, seconds, interrupt_)) {
    case Waited::interrupted:
      return {Received::Kind::interrupted, {}, {}};
    case Waited::timed_out:
      return {};
    case Waited::ready:
      break;
  }
  std::array<char, 4096> buffer{};
  const ssize_t count = recv(socket_, buffer.data(), buffer.size(), 0);
  if (count > 0)
    return {Received::Kind::data, std::string(buffer.data(), static_cast<std::size_t>(count)), {}};
  if (count == 0) return {Received::Kind::closed, {}, "the board closed the connection"};
  if (errno == EAGAIN || errno == EINTR) return {};
  return {Received::Kind::closed, {}, "the connection broke: " + error_text(errno)};
}

}  // namespace t1station
