// Stations that send in crumbs or in one gulp, and stations that hang up in the middle of a word.
#include <chrono>

#include "tests/e2e/hostile_station.h"

namespace {

using namespace std::chrono_literals;

using HostilePacketTest = HostileStationTest;
using HangUpTest = HostileStationTest;

// ---- packets ----------------------------------------------------------------------------

TEST_F(HostilePacketTest, ASessionInPacketsOfOneByteIsServedLikeAnyOther) {
  Station station(board);
  station.take_greeting();
  for (const int code : {7426, 13568, 7426, 1, 7426}) {
    for (const char byte : record_of(request_of(code))) station.send({&byte, 1});
  }
  EXPECT_EQ(station.next_record(), golden::kTemperature);
  EXPECT_NE(station.next_record(), golden::kTemperature);
  EXPECT_EQ(station.next_record(), golden::kTemperature);
  EXPECT_EQ(station.next_record(), golden::kTemperature);
  for (const char byte : record_of(request_of(kQuit))) station.send({&byte, 1});
  board.advance(1s);
  EXPECT_EQ(station.records_until_close(), Records());
  expect_all_as_before();
}

TEST_F(HostilePacketTest, TwoRequestsMayBeDividedBetweenTwoPacketsAtAnyByte) {
  const std::string requests = record_of(request_of(kTemperature)) + record_of(request_of(kTemperature));
  {
    Station station(board);
    station.take_greeting();
    for (std::size_t first = 1; first < requests.size(); ++first) {
      station.send_at_once(requests.substr(0, first));
      board.settle();
      station.send_at_once(requests.substr(first));
      EXPECT_EQ(station.next_record(), golden::kTemperature) << first;
      EXPECT_EQ(station.next_record(), golden::kTemperature) << first;
    }
    station.reset();
  }
  EXPECT_EQ(board.now(), 0s);
  expect_all_as_before();
}

TEST_F(HostilePacketTest, FiftyRequestsInOnePacketAreAllAnswered) {
  std::string requests;
  for (int i = 0; i < 50; ++i) requests += record_of(request_of(kTemperature)) + record_of(request_of(1));
  {
    Station station(board);
    station.take_greeting();
    station.send(requests);
    for (int i = 0; i < 50; ++i) EXPECT_EQ(station.next_record(), golden::kTemperature);
    board.settle();
    EXPECT_EQ(station.pending(), Records());
    station.reset();
  }
  EXPECT_EQ(board.now(), 0s);
  expect_all_as_before();
}

// ---- hanging up: the station sends no more, and reads what comes -----------------------------

TEST_F(HangUpTest, AStationThatHangsUpBeforeItsTurnIsGreetedAndDroppedAtOnce) {
  {
    Station first(board);
    first.take_greeting();
    Station second(board);
    second.shut_down();
    first.reset();
    const Records records = second.records_until_close();
    ASSERT_GE(records.size(), 2U) << "banner and menu; the prompt may come too late";
    EXPECT_EQ(records[1], golden::kMenu);
  }
  EXPECT_EQ(board.now(), 0s);
  expect_all_as_before();
}

TEST_F(HangUpTest, AHangUpBehindAnyByteOfTwoRequestsIsAnEndInsideTheSecondToo) {
  const std::string request = record_of(request_of(kTemperature));
  const std::string requests = request + request;
  for (std::size_t sent = 0; sent <= requests.size(); ++sent) {
    Station station(board);
    station.take_greeting();
    station.send(requests.substr(0, sent));
    station.shut_down();
    // One that breaks off is completed by the one before it, which was the same.
    const std::size_t run = (sent + request.size() - 1) / request.size();
    EXPECT_EQ(station.records_until_close(), Records(run, golden::kTemperature)) << sent;
  }
  EXPECT_EQ(board.now(), 0s) << "a station that has hung up is not waited for";
  expect_all_as_before();
}

TEST_F(HangUpTest, AHangUpBehindRequestsThatTakeTimeStillGetsEveryReply) {
  {
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
  }
  EXPECT_EQ(board.now(), 6s);
  expect_all_as_before();
}

TEST_F(HangUpTest, AHangUpInAnySecondOfATestEndsTheSessionBehindItsReply) {
  for (int second = 0; second <= 10; ++second) {
    Station station(board);
    station.take_greeting();
    station.request(kLight);
    board.advance(std::chrono::seconds(second));
    station.shut_down();
    board.advance(std::chrono::seconds(10 - second));
    int prompts = 0;
    EXPECT_EQ(station.next_reply(prompts), golden::kLight);
    for (const std::string& record : station.records_until_close()) EXPECT_EQ(record, golden::kPrompt);
  }
  EXPECT_EQ(board.now(), 110s);
  expect_all_as_before();
}

TEST_F(HangUpTest, AHangUpBehindTheQuitRequestDoesNotShortenItsSecond) {
  {
    Station station(board);
    station.take_greeting();
    station.request(kQuit);
    board.advance(500ms);
    station.shut_down();
    board.advance(499999us);
    EXPECT_FALSE(station.is_closed());
    board.advance(1us);
    EXPECT_EQ(station.records_until_close(), Records());
  }
  expect_all_as_before();
}

}  // namespace
