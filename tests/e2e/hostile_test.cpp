// Stations that break off anywhere, send in crumbs, or hang up in the middle of a word.
#include <chrono>

#include "tests/e2e/on_server.h"
#include "tests/harness/golden.h"

namespace {

using namespace std::chrono_literals;

class HostileStationTest : public OnServer {
 protected:
  /// A new station is greeted and tested, and quits.
  void expect_service() {
    Station station(board);
    station.take_greeting();
    station.request(7426);
    EXPECT_EQ(station.next_record(), golden::kTemperature);
    station.request(62208);
    board.advance(1s);
    EXPECT_EQ(station.records_until_close(), Records());
  }
  void expect_nothing_held(std::size_t descriptors) {
    board.settle();
    EXPECT_EQ(board.descriptors(), descriptors);
    EXPECT_EQ(board.open_nodes(), Lines());
    EXPECT_LE(board.threads(), 1);
  }
};

TEST_F(HostileStationTest, ASessionInPacketsOfOneByteIsServedLikeAnyOther) {
  Station station(board);
  station.take_greeting();
  for (const int code : {7426, 13568, 7426, 1, 7426}) {
    for (const char byte : record_of(request_of(code))) station.send({&byte, 1});
  }
  EXPECT_EQ(station.next_record(), golden::kTemperature);
  EXPECT_NE(station.next_record(), golden::kTemperature);
  EXPECT_EQ(station.next_record(), golden::kTemperature);
  EXPECT_EQ(station.next_record(), golden::kTemperature);
  for (const char byte : record_of(request_of(62208))) station.send({&byte, 1});
  board.advance(1s);
  EXPECT_EQ(station.records_until_close(), Records());
  expect_service();
}

TEST_F(HostileStationTest, AStationThatHangsUpBehindItsRequestsStillHearsEveryReply) {
  Station station(board);
  station.take_greeting();
  station.send(record_of(request_of(7426)) + record_of(request_of(1536)) + record_of(request_of(7426)));
  station.shut_down();
  board.advance(6s);
  int prompts = 0;
  EXPECT_EQ(station.next_reply(prompts), golden::kTemperature);
  EXPECT_EQ(station.next_reply(prompts), golden::kClockPasses);
  EXPECT_EQ(station.next_reply(prompts), golden::kTemperature);
  EXPECT_EQ(station.records_until_close(), Records());
  EXPECT_EQ(board.now(), 6s) << "a station that has hung up is not waited for";
  expect_service();
}

TEST_F(HostileStationTest, AHangUpBehindAnyByteOfARequestEndsTheSessionAtOnce) {
  board.settle();
  const std::size_t descriptors = board.descriptors();
  const std::string record = record_of(request_of(7426));
  for (std::size_t sent = 0; sent < record.size(); sent += 3) {
    Station station(board);
    station.take_greeting();
    station.send(record.substr(0, sent));
    station.shut_down();
    station.records_until_close();
  }
  EXPECT_EQ(board.now(), 0s);
  expect_nothing_held(descriptors);
  expect_service();
}

TEST_F(HostileStationTest, AResetBehindAnyByteOfARequestLeavesAWorkingServer) {
  board.settle();
  const std::size_t descriptors = board.descriptors();
  const std::string record = record_of(request_of(1)) + record_of(request_of(7426));
  for (std::size_t sent = 0; sent <= record.size(); ++sent) {
    Station station(board);
    station.take_greeting();
    station.send(record.substr(0, sent));
    station.reset();
    board.settle();
  }
  expect_nothing_held(descriptors);
  expect_service();
}

TEST_F(HostileStationTest, AResetInAnySecondOfATestLeavesAWorkingServer) {
  board.settle();
  const std::size_t descriptors = board.descriptors();
  for (int second = 0; second < 12; ++second) {
    Station station(board);
    station.take_greeting();
    station.request(14592);  // ten seconds of light
    board.advance(std::chrono::seconds(second));
    station.reset();
    board.advance(std::chrono::seconds(12));
  }
  expect_nothing_held(descriptors);
  expect_service();
}

}  // namespace
