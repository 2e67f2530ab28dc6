// Stations that stop in the middle of a word, whose words drip in, or that do not read.
#include <chrono>

#include "tests/e2e/hostile_station.h"

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kLengthField = 4;
constexpr std::chrono::seconds kLimit{100};  // of the board's wait for a length, and again for a text

// ---- stalls -----------------------------------------------------------------------------

class StallTest : public HostileStationTest {
 protected:
  /// What the station has received is prompts.
  static void expect_only_prompts(Station& station) {
    for (const std::string& record : station.pending()) EXPECT_EQ(record, golden::kPrompt);
  }
  static void expect_temperature(Station& station) {
    int prompts = 0;
    EXPECT_EQ(station.next_reply(prompts), golden::kTemperature);
  }

  const std::string request = record_of(request_of(kTemperature));
};

TEST_F(StallTest, AStallBehindAnyByteOfARequestEndsAfter100SecondsAndRunsTheOneBefore) {
  for (std::size_t sent = 1; sent < request.size(); ++sent) {
    Station station(board);
    station.take_greeting();
    station.send(request.substr(0, sent));
    // A length that stops short is taken for whole: then the text does not come, either.
    board.advance((sent < kLengthField ? 2 : 1) * kLimit - 1us);
    expect_only_prompts(station);
    board.advance(1us);
    expect_temperature(station);
    station.reset();
  }
  expect_all_as_before();
}

TEST_F(StallTest, AStallOf99SecondsBehindAnyByteOfARequestDoesNoHarm) {
  for (std::size_t sent = 1; sent < request.size(); ++sent) {
    Station station(board);
    station.take_greeting();
    station.send(request.substr(0, sent));
    board.advance(99s);
    expect_only_prompts(station);
    station.send_at_once(request.substr(sent));
    expect_temperature(station);
    station.reset();
  }
  EXPECT_EQ(board.now(), 99s * (request.size() - 1));
  expect_all_as_before();
}

TEST_F(StallTest, ARequestThatDripsInWithinTheTimeOfLengthAndTextIsAnswered) {
  {
    Station station(board);
    station.take_greeting();
    const std::size_t last = request.size() - 1;
    for (std::size_t i = 0; i <= last; ++i) {
      Time pause = i < kLengthField ? Time(25s) : Time(2s);
      if (i == kLengthField - 1) pause = kLimit - 3 * 25s - 1us;
      if (i == last) pause = kLimit - (last - kLengthField) * 2s - 1us;
      board.advance(pause);
      station.send(request.substr(i, 1));
    }
    expect_temperature(station);
    station.reset();
  }
  EXPECT_EQ(board.now(), 2 * kLimit - 2us);
  expect_all_as_before();
}

TEST_F(StallTest, ATextThatDripsInAMicrosecondTooSlowlyLeavesItsLastByteToTheNextLength) {
  {
    Station station(board);
    station.take_greeting();
    station.send(request.substr(0, request.size() - 1));
    board.advance(kLimit);
    expect_temperature(station);  // the last byte stood in the buffer
    station.send(request.substr(request.size() - 1));
    board.advance(2 * kLimit);
    expect_temperature(station);
    station.request(kTemperature);
    expect_temperature(station);
    station.reset();
  }
  expect_all_as_before();
}

// ---- stations that do not read ------------------------------------------------------------

class DeafStationTest : public HostileStationTest {
 protected:
  /// A wait of 100 seconds, for room for a record, that ended without any.
  static constexpr char kInVain[] = "select station 100 0 = 0";

  /// Asks for the temperature until the reply does not go out any more: how many did.
  std::size_t fill(Station& station) {
    const std::size_t earlier = replies();
    for (std::size_t asked = 1; asked < 10000; ++asked) {
      station.request(kTemperature);
      board.settle();
      if (replies() - earlier < asked) return asked - 1;
    }
    throw std::runtime_error("the connection takes replies without end");
  }
  std::size_t replies() const { return board.trace_of("send station 255 = 255").size(); }
  std::size_t prompts() const { return board.trace_of("send station 174 = 174").size(); }
};

TEST_F(DeafStationTest, AReplyThatAStationDoesNotReadIsGivenUpAfter100Seconds) {
  {
    Station deaf(board, Room::little);
    fill(deaf);
    board.advance(kLimit - 1us);
    EXPECT_EQ(board.trace_of(kInVain), Lines());
    board.advance(1us);
    EXPECT_EQ(board.trace_of(kInVain).size(), 1U);
    EXPECT_FALSE(deaf.is_closed());
    deaf.reset();
  }
  EXPECT_EQ(board.now(), kLimit);
  expect_all_as_before();
}

TEST_F(DeafStationTest, AStationThatReadsAgainInTimeHasEveryReply) {
  {
    Station deaf(board, Room::little);
    const std::size_t out = fill(deaf);
    board.advance(50s);
    deaf.next_record("the banner");
    EXPECT_EQ(deaf.next_record("the menu"), golden::kMenu);
    int prompts = 0;
    for (std::size_t i = 0; i <= out; ++i) EXPECT_EQ(deaf.next_reply(prompts), golden::kTemperature);
    deaf.request(kTemperature);
    EXPECT_EQ(deaf.next_reply(prompts), golden::kTemperature);
    deaf.reset();
  }
  EXPECT_EQ(board.now(), 50s);
  expect_all_as_before();
}

TEST_F(DeafStationTest, APromptThatAStationDoesNotReadDoesNotHoldUpTheNextStation) {
  {
    Station deaf(board, Room::little);
    fill(deaf);
    board.advance(kLimit + 50s);  // the reply is given up; a prompt waits
    EXPECT_EQ(board.trace_of(kInVain).size(), 1U);
    EXPECT_EQ(board.threads(), 1);
    deaf.shut_down();
    Station next(board);
    next.take_greeting();
    EXPECT_EQ(board.now(), kLimit + 50s);
    next.reset();
  }
  expect_all_as_before();
}

TEST_F(DeafStationTest, AStationThatReadsNothingIsDroppedAfterHalfAnHourLikeAnyOther) {
  const std::size_t earlier = prompts();
  {
    Station deaf(board, Room::little);
    board.advance(30min - 1us);
    EXPECT_LT(prompts() - earlier, 360U) << "they fill the connection before";
    Station next(board);
    EXPECT_EQ(next.pending(), Records());
    board.advance(1us);
    next.take_greeting();
    next.reset();
  }
  EXPECT_EQ(board.now(), 30min);
  expect_all_as_before();
}

}  // namespace
