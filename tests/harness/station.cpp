// A station over raw system calls, so that the simulated board does not see them.
#include "tests/harness/station.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <pugixml.hpp>
#include <stdexcept>
#include <utility>

#include "tests/harness/gbk.h"
#include "tests/harness/golden.h"
#include "tests/harness/wire.h"

namespace {

constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kLongestDocument = 2047;

std::string child_text(const pugi::xml_node& parent, const char* name) {
  const pugi::xml_node child = parent.child(name);
  EXPECT_TRUE(child) << "the reply lacks " << name;
  return child.text().get();
}

Reply reply_in(const std::string& document) {
  const std::string text = utf8(document);
  pugi::xml_document xml;
  const pugi::xml_parse_result parsed =
      xml.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  EXPECT_TRUE(parsed) << parsed.description() << " in " << text;

  const pugi::xml_node item = xml.child("TestItem");
  const pugi::xml_node result = item.child("Result").child("ResultItem");
  return {.code = std::atoi(child_text(item, "TestCode").c_str()),
          .name = child_text(item, "TestName"),
          .item_name = child_text(result, "Name"),
          .value = child_text(result, "Value"),
          .description = child_text(result, "Description"),
          .raw = document};
}

/// How the kernel's table of connections names the peer's end of one, with a blank behind it.
std::string peers_end_of(int socket) {
  sockaddr_in own = {};
  sockaddr_in peer = {};
  socklen_t own_size = sizeof own;
  socklen_t peer_size = sizeof peer;
  getsockname(socket, reinterpret_cast<sockaddr*>(&own), &own_size);
  getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &peer_size);
  char name[32];
  std::snprintf(name, sizeof name, "%08X:%04X %08X:%04X ", peer.sin_addr.s_addr, ntohs(peer.sin_port),
                own.sin_addr.s_addr, ntohs(own.sin_port));
  return name;
}

/// Whether the kernel still has an end of a connection that was not closed in good order.
bool lives(const std::string& end) {
  constexpr std::string_view kTimeWait = "06 ";
  std::ifstream table("/proc/net/tcp");
  for (std::string line; std::getline(table, line);) {
    const std::size_t found = line.find(end);
    if (found != std::string::npos) return line.substr(found + end.size(), 3) != kTimeWait;
  }
  return false;
}

}  // namespace

std::string request_of(int code) {
  return "<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>";
}

Station::Station(Station&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)),
      board_end_(other.board_end_),
      received_(std::move(other.received_)),
      ended_(other.ended_) {}

Station::~Station() {
  if (socket_ >= 0) wire::close(socket_);
}

void Station::connect(const std::string& address, std::uint16_t port) {
  socket_ = wire::connect(address, port);
  ASSERT_GE(socket_, 0) << "nothing listens at " << address << ":" << port;
}

void Station::send(std::string_view bytes) {
  send_at_once(bytes);
  wire::wait_until_delivered(socket_, board_end_());
}

void Station::send_at_once(std::string_view bytes) {
  ASSERT_TRUE(wire::send_all(socket_, bytes)) << std::strerror(errno);
}

void Station::send_record(std::string_view xml) {
  send(record_of(xml));
}

void Station::request(int code) {
  send_record(request_of(code));
}

void Station::request(int code, int parameter) {
  send_record("<TestItem><TestCode>" + std::to_string(code) + "</TestCode><Parameters>" +
              std::to_string(parameter) + "</Parameters></TestItem>");
}

void Station::shut_down() {
  wire::shut_down_sending(socket_);
  wire::wait_until_end_has_arrived(socket_);
}

void Station::reset() {
  const int board = board_end_();
  const bool is_at_hand = wire::are_connected(socket_, board);
  const std::string elsewhere = board_end_ == in_another_process ? peers_end_of(socket_) : "";
  reset_at_once();
  if (is_at_hand) wire::wait_until_ended(board);
  if (!elsewhere.empty()) wire::wait_until([&] { return !lives(elsewhere); }, "the board's end broke");
}

void Station::reset_at_once() {
  wire::reset(socket_);
  socket_ = -1;
  ended_ = true;
}

void Station::drain() {
  if (socket_ < 0) return;
  const auto read = [this] { return ended_ = wire::receive(socket_, received_); };
  const int board = board_end_();
  if (read() || !wire::are_connected(board, socket_)) return;
  wire::wait_until_delivered(board, socket_, read);
  read();
}

std::string Station::bytes() {
  drain();
  return received_;
}

std::vector<std::string> Station::records() {
  const std::string all = bytes();
  std::vector<std::string> documents;
  std::size_t at = 0;
  while (at < all.size()) {
    const std::size_t left = all.size() - at;
    const std::size_t length = length_in(std::string_view(all).substr(at));
    if (length > kLongestDocument || kLengthSize + length > left) {
      ADD_FAILURE() << "byte " << at << " of " << all.size() << " begins no whole record, its length is "
                    << length;
      break;
    }
    documents.push_back(all.substr(at + kLengthSize, length));
    at += kLengthSize + length;
  }
  return documents;
}

std::vector<std::string> Station::texts() {
  std::vector<std::string> texts;
  for (const std::string& document : records()) texts.push_back(utf8(document));
  return texts;
}

Reply Station::reply() {
  const std::vector<std::string> documents = records();
  EXPECT_EQ(documents.size(), 1U) << "the station expects exactly one reply";
  return documents.empty() ? Reply{} : reply_in(documents.front());
}

void Station::forget() {
  drain();
  received_.clear();
}

bool Station::closed_by_board() {
  drain();
  return ended_;
}

bool Station::has_whole_record() const {
  if (received_.size() < kLengthSize) return false;
  if (length_in(received_) > kLongestDocument) throw std::runtime_error("what the board sends is no record");
  return received_.size() - kLengthSize >= length_in(received_);
}

void Station::wait_for_more(std::string_view awaited) {
  if (ended_) throw std::runtime_error("the connection ended before " + std::string(awaited));
  wire::acknowledge(socket_);
  wire::wait_until_readable(socket_, awaited);
  ended_ = wire::receive(socket_, received_);
}

std::string Station::take_record(std::string_view awaited) {
  while (!has_whole_record()) wait_for_more(awaited);
  const std::size_t size = kLengthSize + length_in(received_);
  const std::string record = received_.substr(0, size);
  received_.erase(0, size);
  return record;
}

std::string Station::next_record(std::string_view awaited) {
  return hex(take_record(awaited));
}

std::string Station::next_reply(int* prompts) {
  for (;;) {
    std::string record = next_record("a reply");
    if (record != golden::kPrompt) return record;
    if (prompts != nullptr) ++*prompts;
  }
}

Reply Station::next_result() {
  for (;;) {
    const std::string record = take_record("a test's reply");
    if (hex(record) != golden::kPrompt) return reply_in(record.substr(kLengthSize));
  }
}

void Station::take_greeting() {
  next_record("the banner");
  EXPECT_EQ(next_record("the menu"), golden::kMenu);
  EXPECT_EQ(next_record("the first prompt"), golden::kPrompt);
}

void Station::expect_prompts(int count) {
  for (int i = 1; i <= count; ++i) {
    const std::string place = std::to_string(i) + " of " + std::to_string(count);
    EXPECT_EQ(next_record("prompt " + place), golden::kPrompt);
  }
  EXPECT_EQ(bytes(), "");
}

std::vector<std::string> Station::records_until_close() {
  while (!ended_) wait_for_more("the end of the connection");
  std::vector<std::string> records;
  while (has_whole_record()) records.push_back(next_record());
  EXPECT_EQ(received_, "") << "half a record";
  return records;
}

void expect_reply(Station& station, int code, const std::string& name, const std::string& value,
                  const std::string& description) {
  const Reply reply = station.reply();
  EXPECT_EQ(reply.code, code);
  EXPECT_EQ(reply.name, name);
  EXPECT_EQ(reply.item_name, "测试结果");
  EXPECT_EQ(reply.value, value);
  EXPECT_EQ(reply.description, description);
}
