// Calls on sockets.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "boardrec/memory/copies.h"
#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/session.h"
#include "boardrec/recorder/text.h"

using boardrec::Call;
using boardrec::Entry;

extern "C" ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags);

BOARDREC_NEXT(socket);
BOARDREC_NEXT(bind);
BOARDREC_NEXT(listen);
BOARDREC_NEXT(accept);
BOARDREC_NEXT(accept4);
BOARDREC_NEXT(connect);
BOARDREC_NEXT(recv);
BOARDREC_NEXT(__recv_chk);
BOARDREC_NEXT(send);
BOARDREC_NEXT(shutdown);
BOARDREC_NEXT(getsockname);

namespace {

/// An address as it stands in records.
class Address {
 public:
  /// Copies one that is certainly there.
  Address(const void* from, std::size_t size) : size_(std::min(size, sizeof storage_)) {
    std::memcpy(&storage_, from, size_);
    write();
  }
  Address() = default;
  /// Copies one that the program hands in; false when there is none.
  bool copy(const void* from, std::size_t size) {
    size_ = std::min(size, sizeof storage_);
    const boardrec::kernel::Locked lock(boardrec::shared);
    if (!boardrec::copy_block(from, &storage_, size_)) return false;
    write();
    return true;
  }
  const void* bytes() const { return is_text_ ? static_cast<const void*>(text_.text()) : &storage_; }
  std::size_t size() const { return is_text_ ? text_.size() : size_; }

 private:
  void write() {
    sockaddr_in ipv4{};
    if (size_ < sizeof ipv4 || storage_.ss_family != AF_INET) return;
    std::memcpy(&ipv4, &storage_, sizeof ipv4);
    const auto* const parts = reinterpret_cast<const unsigned char*>(&ipv4.sin_addr);
    for (int i = 0; i < 4; ++i) text_.add(i == 0 ? "" : ".").add(long{parts[i]});
    text_.add(":").add(long{ntohs(ipv4.sin_port)});
    is_text_ = true;
  }

  sockaddr_storage storage_{};
  std::size_t size_ = 0;
  bool is_text_ = false;
  boardrec::Text text_{};
};

/// bind and connect.
template <typename Function>
int with_address(Call call, int fd, const sockaddr* address, socklen_t size, Function function) {
  Entry entry(call);
  if (!entry) return function();
  Address its;
  entry.in(fd);
  if (address != nullptr && its.copy(address, size)) {
    entry.in_own(its.bytes(), its.size());
  } else {
    entry.in_absent();
    if (address != nullptr) entry.flag(boardrec::kNotRecorded);
  }
  return entry.end(entry.make_cancellable(function));
}

/// The room for an address, where the program gives any.
struct Room {
  socklen_t size = 0;
  bool is_there = false;

  Room(const sockaddr* address, const socklen_t* given) {
    const boardrec::kernel::Locked lock(boardrec::shared);
    is_there = address != nullptr && boardrec::copy_block(given, &size, sizeof size);
  }
};

/// Ends a call that tells an address of this `size`, which may be longer than the room for it.
int end_with_address(Entry& entry, int result, const Room& room, const sockaddr* address,
                     const socklen_t* size) {
  if (result < 0 || !room.is_there) return entry.end(result);
  const Address its(address, std::min(*size, room.size));
  entry.out_own(its.bytes(), its.size());
  entry.out(*size);
  return entry.end(result);
}

template <typename Function>
int accept_any(int fd, const sockaddr* address, const socklen_t* size, Function function) {
  Entry entry(Call::accept);
  if (!entry) return function();
  entry.in(fd);
  const Room room(address, size);
  const int result = entry.make_cancellable(function);
  boardrec::set_kind(result, 0);
  return end_with_address(entry, result, room, address, size);
}

template <typename Function>
ssize_t receive_any(int fd, void* buffer, size_t size, int flags, Function function) {
  Entry entry(Call::recv);
  if (!entry) return function();
  entry.in(fd);
  entry.in(static_cast<std::int64_t>(size));
  entry.in(flags);
  const ssize_t moved = entry.make_cancellable(function);
  entry.out_moved(buffer, std::min(moved, static_cast<ssize_t>(size)));  // some flags ask how much there was
  return entry.end(moved);
}

template <typename Function>
int on_socket(Call call, int fd, int number, Function function) {
  Entry entry(call);
  if (!entry) return function();
  entry.in(fd);
  entry.in(number);
  return entry.end(entry.make(function));
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  const auto function = [=] { return next_socket(domain, type, protocol); };
  Entry entry(Call::socket);
  if (!entry) return function();
  entry.in(domain);
  entry.in(type);
  entry.in(protocol);
  const int fd = entry.make(function);
  boardrec::set_kind(fd, 0);
  return entry.end(fd);
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
  return with_address(Call::bind, fd, address, size, [=] { return next_bind(fd, address, size); });
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  return with_address(Call::connect, fd, address, size, [=] { return next_connect(fd, address, size); });
}

int listen(int fd, int backlog) noexcept {
  return on_socket(Call::listen, fd, backlog, [=] { return next_listen(fd, backlog); });
}

int accept(int fd, sockaddr* address, socklen_t* size) {
  return accept_any(fd, address, size, [=] { return next_accept(fd, address, size); });
}

int accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
  return accept_any(fd, address, size, [=] { return next_accept4(fd, address, size, flags); });
}

ssize_t recv(int fd, void* buffer, size_t size, int flags) {
  return receive_any(fd, buffer, size, flags, [=] { return next_recv(fd, buffer, size, flags); });
}

ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags) {
  return receive_any(fd, buffer, size, flags,
                     [=] { return next___recv_chk(fd, buffer, size, buffer_size, flags); });
}

ssize_t send(int fd, const void* buffer, size_t size, int flags) {
  const auto function = [=] { return next_send(fd, buffer, size, flags); };
  Entry entry(Call::send);
  if (!entry) return function();
  entry.in(fd);
  entry.in(static_cast<std::int64_t>(size));
  const ssize_t moved = entry.make_cancellable(function);
  entry.in_moved(buffer, moved);
  entry.in(flags);
  return entry.end(moved);
}

int getsockname(int fd, sockaddr* address, socklen_t* size) noexcept {
  const auto function = [=] { return next_getsockname(fd, address, size); };
  Entry entry(Call::getsockname);
  if (!entry) return function();
  entry.in(fd);
  const Room room(address, size);
  return end_with_address(entry, entry.make(function), room, address, size);
}

int shutdown(int fd, int how) noexcept {
  return on_socket(Call::shutdown, fd, how, [=] { return next_shutdown(fd, how); });
}

}  // extern "C"
#pragma GCC visibility pop
