// The least that a server of the station's records can do: the floor under the program's round trips and its
// start.
//
// echo_server REPLY_BYTES CONSOLE_LINES: greets a station with one record, then answers each record by one of
// REPLY_BYTES bytes, with the calls of the program: select and recv for the length, select and recv for the
// text, select and send. Each answer prints so many lines on the console before. Runs behind the simulated
// board, which gives it the board's address.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr std::uint16_t kPort = 36001;
constexpr int kBacklog = 128;
constexpr int kLongest = 2048;  // bytes of a record's text

struct Record {
  std::int32_t length;
  char text[kLongest];
};

bool wait_for(int socket, bool readable) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(socket, &set);
  timeval limit{100, 0};
  return select(socket + 1, readable ? &set : nullptr, readable ? nullptr : &set, nullptr, &limit) == 1;
}

bool receive(int socket, void* to, std::size_t size) {
  for (std::size_t received = 0; received < size;) {
    if (!wait_for(socket, true)) return false;
    const ssize_t part = recv(socket, static_cast<char*>(to) + received, size - received, 0);
    if (part <= 0) return false;
    received += static_cast<std::size_t>(part);
  }
  return true;
}

bool answer(int socket, const Record& reply) {
  const std::size_t size = sizeof reply.length + static_cast<std::size_t>(reply.length);
  return wait_for(socket, false) && send(socket, &reply, size, 0) == static_cast<ssize_t>(size);
}

void serve(int socket, const Record& reply, int lines) {
  Record request{};
  if (!answer(socket, reply)) return;
  while (receive(socket, &request.length, sizeof request.length) && request.length >= 0 &&
         request.length <= kLongest &&
         receive(socket, request.text, static_cast<std::size_t>(request.length))) {
    for (int line = 0; line < lines; ++line) std::puts("a line of the console");
    if (!answer(socket, reply)) return;
  }
}

int listen_on_board() {
  const int listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kPort);
  if (listener < 0 || bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, kBacklog) != 0) {
    std::perror("echo_server");
    std::exit(1);
  }
  return listener;
}

}  // namespace

int main(int argc, char** argv) {
  const int bytes = argc == 3 ? std::atoi(argv[1]) : -1;
  if (bytes < 0 || bytes > kLongest) {
    std::fputs("echo_server REPLY_BYTES CONSOLE_LINES\n", stderr);
    return 64;
  }
  std::signal(SIGPIPE, SIG_IGN);
  Record reply{};
  reply.length = bytes;
  std::memset(reply.text, '.', sizeof reply.text);
  const int listener = listen_on_board();
  for (;;) {
    const int socket = accept(listener, nullptr, nullptr);
    if (socket < 0) return 1;
    serve(socket, reply, std::atoi(argv[2]));
    close(socket);
  }
}
