// The thread behind a fake board.
#include "tests/station/fake_board.h"

#include <arpa/inet.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <stdexcept>

namespace {

constexpr int kLongestWaitMs = 20000;

std::uint32_t byte(char value) {
  return static_cast<unsigned char>(value);
}

}  // namespace

FakeBoard::FakeBoard(std::vector<std::vector<BoardStep>> scripts) : scripts_(std::move(scripts)) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof where;
  sockaddr* address = static_cast<sockaddr*>(static_cast<void*>(&where));
  if (listener_ < 0 || bind(listener_, address, size) != 0 || listen(listener_, 16) != 0 ||
      getsockname(listener_, address, &size) != 0) {
    throw std::runtime_error("no loopback port for the fake board");
  }
  port_ = ntohs(where.sin_port);
  thread_ = std::thread([this] { serve(); });
}

FakeBoard::~FakeBoard() {
  requests();
}

std::vector<std::string> FakeBoard::requests() {
  stop_.raise();
  if (thread_.joinable()) thread_.join();
  return requests_;
}

void FakeBoard::serve() {
  for (const std::vector<BoardStep>& script : scripts_) {
    if (!wait_readable(listener_)) break;
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) break;
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    play(socket, script);
    close(socket);
  }
  close(listener_);
}

void FakeBoard::play(int socket, const std::vector<BoardStep>& script) {
  for (const BoardStep& step : script) {
    switch (step.kind) {
      case BoardStep::Kind::send:
        send(socket, step.bytes.data(), step.bytes.size(), MSG_NOSIGNAL);
        break;
      case BoardStep::Kind::hear:
        if (!hear(socket)) return;
        break;
      case BoardStep::Kind::call:
        step.call();
        break;
      case BoardStep::Kind::reset: {
        const linger at_once{1, 0};
        setsockopt(socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
        return;
      }
      case BoardStep::Kind::await_close: {
        char ignored = 0;
        while (read_exactly(socket, &ignored, 1)) continue;
        break;
      }
    }
  }
}

bool FakeBoard::hear(int socket) {
  std::array<char, 4> field{};
  if (!read_exactly(socket, field.data(), field.size())) return false;
  std::string document(byte(field[0]) | byte(field[1]) << 8, '\0');
  if (!read_exactly(socket, document.data(), document.size())) return false;
  requests_.push_back(document);
  return true;
}

// Bytes that are there already are read even after the stop.
bool FakeBoard::wait_readable(int socket) {
  std::array<pollfd, 2> items{{{socket, POLLIN, 0}, {stop_.descriptor(), POLLIN, 0}}};
  return poll(items.data(), items.size(), kLongestWaitMs) > 0 && items[0].revents != 0;
}

bool FakeBoard::read_exactly(int socket, char* to, std::size_t size) {
  while (size > 0) {
    if (!wait_readable(socket)) return false;
    const ssize_t count = recv(socket, to, size, 0);
    if (count <= 0) return false;
    to += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}
