// Commands over a Unix socket, one line each way.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "boardsim/control/client.h"

namespace boardsim {
namespace {

// A board that is being launched is waited for: 10 s in all.
constexpr int kPause = 5;  // ms
constexpr int kLooks = 2000;

}  // namespace

ControlClient::ControlClient(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::runtime_error("the path of the control socket is too long: " + path);
  }
  path.copy(address.sun_path, path.size());
  int error = 0;
  for (int looks = 0; looks < kLooks; ++looks) {
    socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return;
    error = errno;
    close(socket_);
    if (error != ENOENT && error != ECONNREFUSED) break;
    poll(nullptr, 0, kPause);
  }
  throw std::runtime_error("no board listens at " + path + ": " + std::strerror(error));
}

ControlClient::~ControlClient() {
  close(socket_);
}

Time ControlClient::advance(Time span) {
  return ask_time("advance " + std::to_string(span.count()));
}
Time ControlClient::settle() {
  return ask_time("settle");
}
Time ControlClient::now() {
  return ask_time("now");
}
void ControlClient::fault(std::string_view text) {
  ask("fault " + std::string(text));
}
void ControlClient::clear_faults() {
  ask("clear-faults");
}
int ControlClient::threads() {
  return std::stoi(ask("threads"));
}
int ControlClient::reboots() {
  return std::stoi(ask("reboots"));
}

std::vector<std::string> ControlClient::open_nodes() {
  std::istringstream text(ask("open-nodes"));
  std::vector<std::string> nodes;
  for (std::string node; text >> node;) nodes.push_back(node);
  return nodes;
}

Time ControlClient::ask_time(std::string line) {
  return Time(std::stoll(ask(std::move(line))));
}

/// Sends a command line; returns what stands behind "ok ".
std::string ControlClient::ask(std::string line) {
  line.append("\n");
  if (send(socket_, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
    throw std::runtime_error("the board is gone");
  }
  auto end = received_.find('\n');
  while (end == std::string::npos) {
    char bytes[512];
    const ssize_t size = recv(socket_, bytes, sizeof bytes, 0);
    if (size <= 0) throw std::runtime_error("the board is gone");
    received_.append(bytes, static_cast<std::size_t>(size));
    end = received_.find('\n');
  }
  const std::string answer = received_.substr(0, end);
  received_.erase(0, end + 1);
  if (!answer.starts_with("ok")) throw std::runtime_error(answer);
  return answer.size() > 3 ? answer.substr(3) : "";
}

}  // namespace boardsim
