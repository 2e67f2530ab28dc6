// Sockets, and waiting for descriptors, as they were recorded.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "boardrec/replay/next.h"
#include "boardrec/replay/times.h"
#include "boardrec/replay/turns.h"

using boardrec::Call;
using boardrec::Handed;
using boardrec::is_replayed;
using boardrec::next_answer;
using boardrec::Record;
using boardrec::returned;
using boardrec::returned_int;

extern "C" {
ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags);
}

namespace {

/// As recordings have it: "ADDRESS:PORT" of IPv4, else the bytes.
std::string address_text(const sockaddr_storage& address, std::size_t size) {
  if (address.ss_family != AF_INET || size < sizeof(sockaddr_in))
    return {reinterpret_cast<const char*>(&address), size};
  sockaddr_in place{};
  std::memcpy(&place, &address, sizeof place);
  char text[INET_ADDRSTRLEN]{};
  inet_ntop(AF_INET, &place.sin_addr, text, sizeof text);
  return std::string(text) + ":" + std::to_string(ntohs(place.sin_port));
}

/// The answer of a call that tells an address.
int give_address(const Record& record, sockaddr* to, socklen_t* size) {
  if (record.result < 0 || to == nullptr || size == nullptr) return returned_int(record);
  const std::string& text = record.out[0].bytes;
  sockaddr_in place{};
  place.sin_family = AF_INET;
  const auto colon = text.find(':');
  const bool is_ipv4 =
      colon != std::string::npos && inet_pton(AF_INET, text.substr(0, colon).c_str(), &place.sin_addr) == 1;
  if (is_ipv4)
    place.sin_port = htons(static_cast<std::uint16_t>(std::strtoul(text.c_str() + colon + 1, nullptr, 10)));
  const char* const bytes = is_ipv4 ? reinterpret_cast<const char*>(&place) : text.data();
  const std::size_t length = is_ipv4 ? sizeof place : text.size();
  std::memcpy(to, bytes, std::min<std::size_t>(length, *size));
  const bool says_length = record.out[1].type == boardrec::ValueType::number;
  *size = static_cast<socklen_t>(says_length ? record.out[1].number : static_cast<std::int64_t>(length));
  return returned_int(record);
}

int addressed(Call call, int fd, const sockaddr* address, socklen_t size) {
  sockaddr_storage copy{};
  const std::size_t length = std::min<std::size_t>(size, sizeof copy);
  const bool is_there = boardrec::read_memory(address, &copy, length);
  const std::string text = address_text(copy, length);
  return returned_int(next_answer(call, {Handed::of(fd), address == nullptr ? Handed::nothing()
                                                         : is_there ? Handed::of(text.data(), text.size())
                                                                    : Handed::nowhere()}));
}

/// The bits of the first `count` descriptors.
class Bits {
 public:
  Bits(const fd_set* set, int count) : is_null_(set == nullptr) {
    bytes_.resize((static_cast<std::size_t>(std::clamp(count, 0, FD_SETSIZE)) + 7) / 8);
    is_there_ = !is_null_ && boardrec::read_memory(set, bytes_.data(), bytes_.size());
  }
  Handed handed() const {
    if (is_null_) return Handed::nothing();
    return is_there_ ? Handed::of(bytes_.data(), bytes_.size()) : Handed::nowhere();
  }

 private:
  bool is_null_;
  bool is_there_ = false;
  std::string bytes_{};
};

void give_set(const boardrec::Value& value, fd_set* to, int count) {
  if (to == nullptr || value.type != boardrec::ValueType::bytes) return;
  FD_ZERO(to);
  for (int fd = 0; fd < count && static_cast<std::size_t>(fd) / 8 < value.bytes.size(); ++fd) {
    if ((value.bytes[static_cast<std::size_t>(fd) / 8] & (1 << (fd % 8))) != 0) FD_SET(fd, to);
  }
}

}  // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(socket, domain, type, protocol);
  return returned_int(
      next_answer(Call::socket, {Handed::of(domain), Handed::of(type), Handed::of(protocol)}));
}

int bind(int fd, const sockaddr* address, socklen_t size) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(bind, fd, address, size);
  return addressed(Call::bind, fd, address, size);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
  if (!is_replayed()) BOARDREC_PASS_ON(connect, fd, address, size);
  return addressed(Call::connect, fd, address, size);
}

int listen(int fd, int backlog) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(listen, fd, backlog);
  return returned_int(next_answer(Call::listen, {Handed::of(fd), Handed::of(backlog)}));
}

int accept(int fd, sockaddr* address, socklen_t* size) {
  if (!is_replayed()) BOARDREC_PASS_ON(accept, fd, address, size);
  return give_address(next_answer(Call::accept, {Handed::of(fd)}), address, size);
}

int getsockname(int fd, sockaddr* address, socklen_t* size) noexcept {
  if (!is_replayed() || !boardrec::is_of_version(boardrec::kVersionWithSocketNames))
    BOARDREC_PASS_ON(getsockname, fd, address, size);
  return give_address(next_answer(Call::getsockname, {Handed::of(fd)}), address, size);
}

int shutdown(int fd, int how) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(shutdown, fd, how);
  return returned_int(next_answer(Call::shutdown, {Handed::of(fd), Handed::of(how)}));
}

ssize_t recv(int fd, void* buffer, size_t size, int flags) {
  if (!is_replayed()) BOARDREC_PASS_ON(recv, fd, buffer, size, flags);
  const Record& record = next_answer(
      Call::recv, {Handed::of(fd), Handed::of(static_cast<std::int64_t>(size)), Handed::of(flags)});
  give(record.out.front(), buffer, size);
  return returned(record);
}
ssize_t __recv_chk(int fd, void* buffer, size_t size, size_t buffer_size, int flags) {
  if (!is_replayed()) BOARDREC_PASS_ON(__recv_chk, fd, buffer, size, buffer_size, flags);
  return recv(fd, buffer, size, flags);
}

ssize_t send(int fd, const void* buffer, size_t size, int flags) {
  if (!is_replayed()) BOARDREC_PASS_ON(send, fd, buffer, size, flags);
  return returned(next_answer(Call::send, {Handed::of(fd), Handed::of(static_cast<std::int64_t>(size)),
                                           Handed::record(buffer), Handed::of(flags)}));
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout) {
  if (!is_replayed()) BOARDREC_PASS_ON(select, count, readable, writable, exceptional, timeout);
  const Bits in(readable, count);
  const Bits out(writable, count);
  const Bits other(exceptional, count);
  const Record& record = next_answer(
      Call::select, {Handed::of(count), in.handed(), out.handed(), other.handed(), boardrec::span(timeout)});
  if (record.result >= 0) {
    give_set(record.out[0], readable, count);
    give_set(record.out[1], writable, count);
    give_set(record.out[2], exceptional, count);
    if (timeout != nullptr && record.out[3].type == boardrec::ValueType::number)
      *timeout = boardrec::to_timeval(record.out[3].number);
  }
  return returned_int(record);
}

int poll(pollfd* fds, nfds_t count, int timeout) {
  if (!is_replayed()) BOARDREC_PASS_ON(poll, fds, count, timeout);
  constexpr std::int64_t kMillisecond = 1'000'000;
  const Record& record =
      next_answer(Call::poll, {Handed{}, Handed::of(timeout < 0 ? -1 : timeout * kMillisecond)});
  if (record.result >= 0) {
    std::vector<boardrec::PollEntry> entries(count);
    give(record.out.front(), entries.data(), count * sizeof entries.front());
    for (nfds_t i = 0; i < count; ++i) fds[i].revents = entries[i].came;
  }
  return returned_int(record);
}

}  // extern "C"
