#include "boardsim/control/server.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string_view>

#include "boardsim/board/state.h"
#include "boardsim/kernel/own_descriptor.h"
#include "boardsim/kernel/own_thread.h"
#include "boardsim/kernel/program.h"

namespace boardsim {
namespace {

std::string ok(const Board& board) {
  return "ok " + std::to_string(board.now().count());
}

std::string joined(const std::vector<std::string>& words) {
  std::string text = "ok";
  for (const std::string& word : words) text.append(" ").append(word);
  return text;
}

std::string one_line(std::string text) {
  for (char& letter : text) {
    if (letter == '\n') letter = ' ';
  }
  return text;
}

std::string advance(Board& board, std::string_view text) {
  Time::rep span = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), span);
  if (error != std::errc{} || end != text.data() + text.size() || span < 0) {
    return "error advance needs a number of microseconds";
  }
  return board.advance(Time(span)) ? ok(board) : "error busy";
}

std::string answer(Board& board, std::string_view command, std::string_view argument) {
  if (command == "now") return ok(board);
  if (command == "settle") return board.settle() ? ok(board) : "error busy";
  if (command == "advance") return advance(board, argument);
  if (command == "fault") return board.fault(argument), "ok";
  if (command == "clear-faults") return board.clear_faults(), "ok";
  if (command == "threads") return "ok " + std::to_string(board.live_threads());
  if (command == "open-nodes") return joined(board.open_nodes());
  if (command == "reboots") return "ok " + std::to_string(board.reboots().size());
  return "error unknown command; known are advance MICROSECONDS, settle, now, fault TEXT, "
         "clear-faults, threads, open-nodes, reboots";
}

int listen_at(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::runtime_error("the path of the control socket is too long: " + path);
  }
  std::memcpy(address.sun_path, path.c_str(), path.size());
  // What an earlier run left behind; only a socket is taken away.
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) unlink(path.c_str());
  const int listener = out_of_the_way(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (listener < 0 || bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, 1) != 0) {
    throw std::runtime_error("the control socket " + path + " cannot be made: " + std::strerror(errno));
  }
  return listener;
}

void serve_client(Board& board, int client) {
  std::string pending;
  char bytes[512];
  for (;;) {
    const ssize_t size = read(client, bytes, sizeof bytes);
    if (size <= 0) return;
    pending.append(bytes, static_cast<std::size_t>(size));
    for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
      const std::string reply = answer_control(board, pending.substr(0, end)).append("\n");
      pending.erase(0, end + 1);
      if (send(client, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) return;
    }
  }
}

void serve(Board& board, int listener) {
  for (;;) {
    const OwnDescriptor client(accept(listener, nullptr, nullptr));
    if (client.get() >= 0) serve_client(board, client.get());
  }
}

}  // namespace

std::string answer_control(Board& board, const std::string& line) {
  const std::string_view text = line;
  const auto space = std::min(text.find(' '), text.size());
  try {
    return answer(board, text.substr(0, space), text.substr(std::min(space + 1, text.size())));
  } catch (const std::exception& error) {
    return one_line(std::string("error ").append(error.what()));
  }
}

void serve_control(Board& board, const std::string& path) {
  const Inside inside;
  const int listener = listen_at(path);
  start_own_thread([&board, listener] { serve(board, listener); });
}

}  // namespace boardsim
