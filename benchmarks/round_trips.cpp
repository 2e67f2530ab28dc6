// How long boards take to answer: round trips of one request to several of them in turn, in nanoseconds.
//
// round_trips REQUEST ROUNDS ADDRESS...: asks each board a block of times, board after board, until each has
// been asked ROUNDS times, so that whatever else the PC does meets all of them. Prints a row for each round
// and a column for each board. What a board sends on its own is passed over.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr std::uint16_t kPort = 36001;
constexpr int kBlock = 20;
constexpr int kWarmUp = 200;

[[noreturn]] void fail(const char* text) {
  std::perror(text);
  std::exit(1);
}

class Board {
 public:
  explicit Board(const char* address) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(kPort);
    const int yes = 1;
    if (inet_pton(AF_INET, address, &to.sin_addr) != 1 ||
        connect(socket_, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0 ||
        setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes) != 0) {
      fail(address);
    }
  }

  /// Sends a record and waits for its reply. Nanoseconds.
  long ask(const std::string& record) {
    const auto start = std::chrono::steady_clock::now();
    if (send(socket_, record.data(), record.size(), 0) != static_cast<ssize_t>(record.size())) fail("send");
    do {
      receive();
    } while (is_service_message());
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
  }

  /// Passes over what is sent on connecting, when nothing more has come for a while.
  void skip_greeting() {
    for (;;) {
      timeval limit{0, 300'000};
      fd_set set;
      FD_ZERO(&set);
      FD_SET(socket_, &set);
      if (select(socket_ + 1, &set, nullptr, nullptr, &limit) == 0) return;
      receive();
    }
  }

 private:
  void read_all(void* to, std::size_t size) {
    if (recv(socket_, to, size, MSG_WAITALL) != static_cast<ssize_t>(size)) fail("recv");
  }

  void receive() {
    std::int32_t length = 0;
    read_all(&length, sizeof length);
    reply_.resize(static_cast<std::size_t>(length));
    read_all(reply_.data(), reply_.size());
  }

  bool is_service_message() const { return reply_.find("<TestCode>255<") != std::string::npos; }

  int socket_;
  std::string reply_{};
};

std::string record_of(const std::string& text) {
  const auto length = static_cast<std::int32_t>(text.size());
  return std::string(reinterpret_cast<const char*>(&length), sizeof length) + text;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fputs("round_trips REQUEST ROUNDS ADDRESS...\n", stderr);
    return 64;
  }
  const std::string record = record_of(argv[1]);
  const int rounds = std::atoi(argv[2]);
  std::vector<Board> boards;
  for (int i = 3; i < argc; ++i) boards.emplace_back(argv[i]);
  for (Board& board : boards) {
    board.skip_greeting();
    for (int i = 0; i < kWarmUp; ++i) board.ask(record);
  }
  std::vector<std::vector<long>> times(boards.size());
  for (int round = 0; round < rounds; round += kBlock) {
    for (std::size_t board = 0; board < boards.size(); ++board) {
      for (int i = 0; i < kBlock; ++i) times[board].push_back(boards[board].ask(record));
    }
  }
  for (std::size_t round = 0; round < times.front().size(); ++round) {
    for (const std::vector<long>& column : times) std::printf("%ld ", column[round]);
    std::puts("");
  }
}
