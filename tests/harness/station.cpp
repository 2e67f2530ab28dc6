// A station over raw system calls, so that the simulated board does not see them.
#include "tests/harness/station.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <pugixml.hpp>

#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/harness/gbk.h"
#include "tests/harness/wire.h"

namespace {

constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kLongestDocument = 2048;

std::string child_text(const pugi::xml_node& parent, const char* name) {
  const pugi::xml_node child = parent.child(name);
  EXPECT_TRUE(child) << "the reply lacks " << name;
  return child.text().get();
}

}  // namespace

Station::~Station() {
  if (socket_ >= 0) wire::close(socket_);
}

void Station::connect(const std::string& address, std::uint16_t port) {
  socket_ = wire::connect(address, port);
  ASSERT_GE(socket_, 0) << "nothing listens at " << address << ":" << port;
}

void Station::send(std::string_view bytes) {
  ASSERT_TRUE(wire::send_all(socket_, bytes)) << std::strerror(errno);
  wire::wait_until_delivered(socket_, g_iSockClient);
}

void Station::send_record(std::string_view xml) {
  send(record_of(xml));
}

void Station::request(int code) {
  send_record("<TestItem><TestCode>" + std::to_string(code) + "</TestCode></TestItem>");
}

void Station::request(int code, int parameter) {
  send_record("<TestItem><TestCode>" + std::to_string(code) + "</TestCode><Parameters>" +
              std::to_string(parameter) + "</Parameters></TestItem>");
}

void Station::shut_down() {
  const bool served = wire::are_connected(socket_, g_iSockClient);
  wire::shut_down_sending(socket_);
  if (served) wire::wait_until_ended(g_iSockClient);
}

void Station::reset() {
  const bool served = wire::are_connected(socket_, g_iSockClient);
  wire::reset(socket_);
  socket_ = -1;
  if (served) wire::wait_until_ended(g_iSockClient);
}

void Station::drain() {
  if (socket_ < 0) return;
  const auto read = [this] { return ended_ = wire::receive(socket_, received_); };
  if (read() || !wire::are_connected(g_iSockClient, socket_)) return;
  wire::wait_until_delivered(g_iSockClient, socket_, read);
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
  if (documents.empty()) return {};

  const std::string text = utf8(documents.front());
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
          .raw = documents.front()};
}

void Station::forget() {
  drain();
  received_.clear();
}

bool Station::closed_by_board() {
  drain();
  return ended_;
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
