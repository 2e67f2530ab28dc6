#include "boardsim/tool/scripted_station.h"

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "boardsim/board/state.h"
#include "boardsim/kernel/own_descriptor.h"
#include "boardsim/kernel/real.h"
#include "boardsim/tool/address.h"

namespace boardsim {
namespace {

constexpr int kDescriptors = 256;  // a program on a board has fewer
constexpr int kLooks = 1000;       // of a millisecond: what was sent on loopback has arrived by then
constexpr Time kBetweenReadings = std::chrono::minutes(1);  // what a program sends meanwhile fits its socket

bool are_equal(const sockaddr_in& one, const sockaddr_in& other) {
  return one.sin_family == AF_INET && other.sin_family == AF_INET && one.sin_port == other.sin_port &&
         one.sin_addr.s_addr == other.sin_addr.s_addr;
}

sockaddr_in own_name(int fd) {
  sockaddr_in name{};
  socklen_t size = sizeof name;
  getsockname(fd, reinterpret_cast<sockaddr*>(&name), &size);
  return name;
}

sockaddr_in peer_name(int fd) {
  sockaddr_in name{};
  socklen_t size = sizeof name;
  getpeername(fd, reinterpret_cast<sockaddr*>(&name), &size);
  return name;
}

/// Bytes that have reached a connection so far, read or not; none when it is closed.
std::optional<std::uint64_t> received_by(int fd) {
  tcp_info info{};
  socklen_t size = sizeof info;
  if (getsockopt(fd, IPPROTO_TCP, TCP_INFO, &info, &size) != 0) return std::nullopt;
  return info.tcpi_bytes_received;
}

bool is_readable(int fd) {
  pollfd readable{fd, POLLIN, 0};
  return real::poll(&readable, 1UL, 0) > 0;
}

void wait_for_end(int fd) {
  pollfd ended{fd, POLLRDHUP, 0};
  if (fd >= 0) real::poll(&ended, 1UL, kLooks);
}

/// The station's side of its connections. All of its life happens in events: the program's threads wait.
class Station {
 public:
  explicit Station(const std::string& address) {
    board_.sin_family = AF_INET;
    board_.sin_port = htons(kServicePort);
    inet_pton(AF_INET, address.c_str(), &board_.sin_addr);
  }

  void act(const StationMoment& moment) {
    read_all();
    switch (moment.what) {
      case StationMoment::What::connect:
        leave();
        return connect();
      case StationMoment::What::send:
        return send(moment.bytes);
      case StationMoment::What::leave:
        return leave();
      case StationMoment::What::reset:
        return reset();
      case StationMoment::What::end:
        break;
    }
    std::fflush(stdout);
    real::syscall(SYS_exit_group, 0L);
  }

  /// Takes what the program has sent, which must never find its socket full.
  void read_all() const {
    std::array<char, 4096> bytes{};
    while (socket_ >= 0 && real::recv(socket_, bytes.data(), bytes.size(), int{MSG_DONTWAIT}) > 0) {
    }
  }

 private:
  void connect();
  void send(const std::string& bytes) const;
  void leave();
  void reset();
  /// The program's descriptor of the connection, -1 while it has none.
  int other_end() const;
  int listener() const;

  sockaddr_in board_{};
  int socket_ = -1;
};

int Station::other_end() const {
  const sockaddr_in mine = own_name(socket_);
  for (int fd = 0; socket_ >= 0 && fd < kDescriptors; ++fd) {
    if (are_equal(peer_name(fd), mine)) return fd;
  }
  return -1;
}

int Station::listener() const {
  for (int fd = 0; fd < kDescriptors; ++fd) {
    int listens = 0;
    socklen_t size = sizeof listens;
    if (getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0) return fd;
  }
  return -1;
}

void Station::connect() {
  socket_ = out_of_the_way(real::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int at_once = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &at_once, sizeof at_once);
  if (real::connect(socket_, reinterpret_cast<const sockaddr*>(&board_), socklen_t{sizeof board_}) != 0) {
    std::fprintf(stderr, "boardsim: the script's station cannot connect: %s\n", std::strerror(errno));
    real::close(std::exchange(socket_, -1));
    return;
  }
  // The program may have taken it from its queue by now.
  for (int look = 0; look < kLooks && other_end() < 0 && !is_readable(listener()); ++look)
    real::usleep(1000U);
}

/// Time goes on when this returns: the bytes must have reached the program's socket by then.
void Station::send(const std::string& bytes) const {
  const int to = other_end();
  const std::uint64_t before = received_by(to).value_or(0);
  if (real::send(socket_, bytes.data(), bytes.size(), int{MSG_NOSIGNAL}) < 0) return;
  for (int look = 0; look < kLooks; ++look) {
    int unsent = 0;  // what nobody has taken from the queue of connections the PC acknowledges at once
    if (to < 0 && (real::ioctl(socket_, static_cast<unsigned long>(SIOCOUTQ), &unsent) != 0 || unsent == 0))
      return;
    if (to >= 0 && received_by(to).value_or(UINT64_MAX) >= before + bytes.size()) return;
    real::usleep(1000U);
  }
}

void Station::leave() {
  if (socket_ < 0) return;
  const int to = other_end();
  real::close(std::exchange(socket_, -1));
  wait_for_end(to);
}

void Station::reset() {
  const linger at_once{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  leave();
}

void read_now_and_then(BoardState& board, const std::shared_ptr<Station>& station) {
  station->read_all();
  board.clock.at(board.clock.now() + kBetweenReadings,
                 [&board, station] { read_now_and_then(board, station); });
}

}  // namespace

void play_station(Board& board, const std::vector<StationMoment>& moments, const std::string& address) {
  const Inside inside;
  const auto station = std::make_shared<Station>(address);
  for (const StationMoment& moment : moments)
    board.at(moment.at, [station, moment] { station->act(moment); });
  read_now_and_then(board.state(), station);
}

}  // namespace boardsim
