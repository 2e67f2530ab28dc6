// The thread behind an answering board.
#include "tests/station/answering_board.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

#include "tests/harness/wire.h"
#include "tests/station/board_texts.h"

namespace {

constexpr int kQuit = 62208;
constexpr int kPatienceMs = 60000;

int code_of(const std::string& request) {
  constexpr std::string_view kTag = "<TestCode>";
  const std::size_t at = request.find(kTag);
  return at == std::string::npos ? -1 : std::stoi(request.substr(at + kTag.size()));
}

}  // namespace

AnsweringBoard::AnsweringBoard()
    : AnsweringBoard([](int code) { return board_texts::reply(code, "x", "Pass", "21.5"); }) {}

AnsweringBoard::AnsweringBoard(Answer answer) : answer_(std::move(answer)), listener_(wire::listen(port_)) {
  if (listener_ < 0) throw std::runtime_error("no loopback port for the board");
  thread_ = std::thread([this] { serve(); });
}

AnsweringBoard::~AnsweringBoard() {
  stop_.raise();
  thread_.join();
  wire::close(listener_);
}

std::vector<int> AnsweringBoard::codes() const {
  const std::lock_guard lock(mutex_);
  return codes_;
}

bool AnsweringBoard::wait_readable(int socket) const {
  std::array<pollfd, 2> items{{{socket, POLLIN, 0}, {stop_.descriptor(), POLLIN, 0}}};
  return poll(items.data(), items.size(), kPatienceMs) > 0 && items[1].revents == 0;
}

void AnsweringBoard::serve() {
  while (wait_readable(listener_)) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) return;
    talk(socket);
    wire::close(socket);
  }
}

// The document of the next request; empty when the station has gone.
std::string AnsweringBoard::hear(int socket) const {
  std::string bytes;
  constexpr std::size_t kField = 4;
  while (bytes.size() < kField || bytes.size() < kField + static_cast<unsigned char>(bytes[0]) +
                                                     256U * static_cast<unsigned char>(bytes[1])) {
    if (!wait_readable(socket)) return {};
    std::array<char, 512> part{};
    const ssize_t count = recv(socket, part.data(), part.size(), 0);
    if (count <= 0) return {};
    bytes.append(part.data(), static_cast<std::size_t>(count));
  }
  return bytes.substr(kField);
}

void AnsweringBoard::talk(int socket) {
  if (!wire::send_all(socket, board_texts::greeting())) return;
  while (true) {
    const std::string request = hear(socket);
    const int code = code_of(request);
    if (request.empty() || code == kQuit) return;
    {
      const std::lock_guard lock(mutex_);
      codes_.push_back(code);
    }
    wire::send_all(socket, answer_(code));
  }
}
