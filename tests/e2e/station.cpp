// Plays a station.
#include "tests/e2e/station.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "tests/harness/gbk.h"
#include "tests/harness/golden.h"
#include "tests/harness/wire.h"

namespace {

constexpr std::uint16_t kPort = 36001;
constexpr std::size_t kLengthField = 4;
constexpr std::uint32_t kLongestText = 2047;
// States of a connection as the kernel numbers them.
constexpr unsigned kFinWait1 = 4;
constexpr unsigned kTimeWait = 6;

/// Looks every millisecond until `done` says so.
template <typename Predicate>
void wait_until(Predicate done, std::string_view awaited) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) throw in_vain(awaited);
    poll(nullptr, 0, 1);
  }
}

sockaddr_in own_address(int socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
  return address;
}

/// Whether the kernel still has the board's end of the connection from this station.
bool board_end_lives(const std::string& board, const sockaddr_in& station) {
  std::ifstream table("/proc/net/tcp");
  std::string line;
  while (std::getline(table, line)) {
    unsigned local = 0;
    unsigned local_port = 0;
    unsigned remote = 0;
    unsigned remote_port = 0;
    unsigned state = 0;
    if (std::sscanf(line.c_str(), " %*u: %8X:%4X %8X:%4X %2X", &local, &local_port, &remote, &remote_port,
                    &state) != 5) {
      continue;
    }
    if (local == inet_addr(board.c_str()) && local_port == kPort && remote == station.sin_addr.s_addr &&
        remote_port == ntohs(station.sin_port) && state != kTimeWait) {
      return true;
    }
  }
  return false;
}

unsigned state_of(int socket) {
  tcp_info info{};
  socklen_t size = sizeof info;
  getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size);
  return info.tcpi_state;
}

}  // namespace

std::string request_of(int code) {
  return "<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>";
}

Station::Station(BoardUnderTest& board, Room room) : address_(board.address()), socket_(-1) {
  board.settle();
  socket_ = room == Room::plenty ? wire::connect(address_, kPort) : wire::connect_narrowly(address_, kPort);
  if (socket_ < 0) throw std::runtime_error("no server listens on the board");
}

Station::~Station() {
  if (socket_ >= 0) wire::close(socket_);
}

void Station::send_at_once(std::string_view bytes) {
  EXPECT_TRUE(wire::send_all(socket_, bytes)) << "the connection is closed";
}

void Station::send(std::string_view bytes) {
  send_at_once(bytes);
  wire::wait_until_delivered(socket_, -1);
}

void Station::send_record(std::string_view xml) {
  send(record_of(xml));
}

void Station::request(int code) {
  send_record(request_of(code));
}

bool Station::has_whole_record() const {
  if (received_.size() < kLengthField) return false;
  if (length_in(received_) > kLongestText) throw std::runtime_error("what the board sends is no record");
  return received_.size() - kLengthField >= length_in(received_);
}

std::string Station::take_record() {
  const std::size_t size = kLengthField + length_in(received_);
  const std::string record = received_.substr(0, size);
  received_.erase(0, size);
  return hex(record);
}

void Station::wait_for_more(std::string_view awaited) {
  if (ended_) throw std::runtime_error("the board closed the connection before " + std::string(awaited));
  wire::acknowledge(socket_);
  pollfd readable{socket_, POLLIN, 0};
  const auto patience = std::chrono::duration_cast<std::chrono::milliseconds>(kPatience);
  if (poll(&readable, 1, static_cast<int>(patience.count())) < 1) throw in_vain(awaited);
  ended_ = wire::receive(socket_, received_);
}

std::string Station::next_record(std::string_view awaited) {
  while (!has_whole_record()) wait_for_more(awaited);
  return take_record();
}

std::string Station::next_reply(int& prompts) {
  for (;;) {
    std::string record = next_record("a reply");
    if (record != golden::kPrompt) return record;
    ++prompts;
  }
}

void Station::take_greeting() {
  next_record("the banner");
  EXPECT_EQ(next_record("the menu"), golden::kMenu);
  EXPECT_EQ(next_record("the first prompt"), golden::kPrompt);
}

std::vector<std::string> Station::pending() {
  if (!ended_) ended_ = wire::receive(socket_, received_);
  std::vector<std::string> records;
  while (has_whole_record()) records.push_back(take_record());
  return records;
}

void Station::expect_prompts(int count) {
  for (int i = 1; i <= count; ++i) {
    const std::string place = std::to_string(i) + " of " + std::to_string(count);
    EXPECT_EQ(next_record("prompt " + place), golden::kPrompt);
  }
  EXPECT_EQ(pending(), std::vector<std::string>());
}

std::vector<std::string> Station::records_until_close() {
  while (!ended_) wait_for_more("the end of the connection");
  std::vector<std::string> records;
  while (has_whole_record()) records.push_back(take_record());
  EXPECT_EQ(received_, "") << "half a record";
  return records;
}

bool Station::is_closed() {
  if (!ended_) ended_ = wire::receive(socket_, received_);
  return ended_;
}

void Station::shut_down() {
  wire::shut_down_sending(socket_);
  wait_until([this] { return state_of(socket_) != kFinWait1; }, "the board's end to see the close");
}

void Station::reset() {
  const sockaddr_in own = own_address(socket_);
  reset_at_once();
  wait_until([&] { return !board_end_lives(address_, own); }, "the board's end to break");
}

void Station::reset_at_once() {
  wire::reset(socket_);
  socket_ = -1;
  ended_ = true;
}
