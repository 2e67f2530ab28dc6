// One loop over all boards.
#include "benchmarks/echoing_boards.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "benchmarks/bare_sqlite.h"
#include "station/protocol/document.h"
#include "station/protocol/frame.h"

namespace {

constexpr int kBacklog = 1024;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

double now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::string record(const std::string& document) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) {
    bytes.push_back(static_cast<char>(document.size() >> static_cast<unsigned>(shift) & 0xFFU));
  }
  return bytes + document;
}

std::string greeting() {
  const auto message = [](const std::string& one, const std::string& other) {
    return record("<TestItem><TestCode>255</TestCode><TestContext>" + one + "</TestContext><TestContext>" +
                  other + "</TestContext></TestItem>");
  };
  return message("Board for benchmarks", "BUILD: Mar 29 2019-22:09:55") + message("1. Clock", "2. Sensor");
}

std::string reply(int code) {
  std::string head = "<TestItem><TestCode>" + std::to_string(code) +
                     "</TestCode><TestName>temperature</TestName><Result><ResultItem><Name>result</Name>"
                     "<Value>Pass</Value><Description>";
  constexpr std::string_view kTail = "</Description></ResultItem></Result></TestItem>";
  std::array<char, 32> time{};
  const int size = std::snprintf(time.data(), time.size(), "%.9f ", now());
  head.append(time.data(), static_cast<std::size_t>(size));
  head.resize(std::max(head.size(), kReply - kTail.size()), '.');
  return record(head.append(kTail));
}

int code_of(const std::string& request) {
  constexpr std::string_view kTag = "<TestCode>";
  const std::size_t at = request.find(kTag);
  return at == std::string::npos ? t1station::kQuitCode : std::stoi(request.substr(at + kTag.size()));
}

struct Board {
  int socket;
  t1station::RecordReader heard;
};

struct Answer {
  double at;
  int socket, code;
};

/// All boards, and the answers that they owe, the next one first.
class Boards {
 public:
  Boards(int listener, double seconds) : listener_(listener), seconds_(seconds) {}

  void turn() {
    std::vector<pollfd> items{{listener_, POLLIN, 0}};
    for (const Board& board : boards_) items.push_back({board.socket, POLLIN, 0});
    const double left = owed_.empty() ? 1 : std::max(0.0, owed_.front().at - now());
    const timespec patience{static_cast<time_t>(left), static_cast<long>(std::fmod(left, 1) * 1e9)};
    if (ppoll(items.data(), items.size(), &patience, nullptr) < 0) fail("poll");
    while (!owed_.empty() && owed_.front().at <= now()) {
      say(owed_.front().socket, reply(owed_.front().code));
      owed_.pop_front();
    }
    for (std::size_t i = items.size() - 1; i > 0; --i) {
      if (items[i].revents != 0 && !hear(boards_[i - 1])) leave(i - 1);
    }
    if (items[0].revents != 0) take();
  }

 private:
  static void say(int socket, const std::string& bytes) {
    // A station that has gone is noticed by the next look at its connection.
    [[maybe_unused]] const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }

  void take() {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) fail("accept");
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    say(socket, greeting());
    boards_.push_back({socket, {}});
  }

  /// False when the station has gone, or wants to.
  bool hear(Board& board) {
    std::array<char, 4096> part{};
    const ssize_t count = recv(board.socket, part.data(), part.size(), 0);
    if (count <= 0) return false;
    board.heard.feed({part.data(), static_cast<std::size_t>(count)});
    while (const std::optional<std::string> request = board.heard.next()) {
      const int code = code_of(*request);
      if (code == t1station::kQuitCode) return false;
      owed_.push_back({now() + seconds_, board.socket, code});
    }
    return true;
  }

  void leave(std::size_t place) {
    const int socket = boards_[place].socket;
    std::erase_if(owed_, [socket](const Answer& answer) { return answer.socket == socket; });
    close(socket);
    boards_.erase(boards_.begin() + static_cast<std::ptrdiff_t>(place));
  }

  int listener_;
  double seconds_;
  std::vector<Board> boards_;
  std::deque<Answer> owed_;
};

}  // namespace

int listen_as_boards(std::uint16_t& port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const where = reinterpret_cast<sockaddr*>(&address);
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener < 0 || bind(listener, where, size) != 0 || listen(listener, kBacklog) != 0 ||
      getsockname(listener, where, &size) != 0) {
    fail("no port for the boards");
  }
  port = ntohs(address.sin_port);
  return listener;
}

void serve_as_boards(int listener, double seconds) {
  Boards boards(listener, seconds);
  while (true) boards.turn();
}
