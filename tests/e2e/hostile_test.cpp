// Stations that do their worst: they stop in the middle of a word, hang up, break the connection or do not
// read. What the server holds is the same before and after, and the next station is served.
#include <chrono>

#include "tests/e2e/on_server.h"

namespace {

using namespace std::chrono_literals;
using Time = BoardUnderTest::Time;

constexpr std::size_t kLengthField = 4;
constexpr std::chrono::seconds kLimit{100};  // of the board's wait for a length, and again for a text

const std::string kRequest = record_of(request_of(kTemperature));

/// A server that has served one station before. What it received last, and finds in its buffer behind a
/// request that breaks off, is that station's request for the temperature.
class HostileTest : public OnServer {
 protected:
  HostileTest() {
    expect_service();
    before_ = holdings();
  }
  /// All stations have gone: the server holds what it held before, and the next one is served.
  void TearDown() override {
    expect_service();
    EXPECT_EQ(holdings(), before_);
  }

 private:
  /// What the server's process holds at a moment at which nothing is going on.
  struct Holdings {
    std::size_t descriptors = 0;
    Lines nodes{};
    int threads = 0;
    bool operator==(const Holdings&) const = default;
  };
  Holdings holdings() {
    board.settle();
    return {board.descriptors(), board.open_nodes(), board.threads()};
  }

  Holdings before_;
};

// ---- packets --------------------------------------------------------------------------------------------

TEST_F(HostileTest, TwoRequestsMayBeDividedBetweenTwoPacketsAtAnyByte) {
  const std::string requests = kRequest + kRequest;
  Station station = board.greeted_station();
  for (std::size_t first = 1; first < requests.size(); ++first) {
    station.send_at_once(requests.substr(0, first));
    board.settle();
    station.send_at_once(requests.substr(first));
    EXPECT_EQ(station.next_record(), golden::kTemperature) << first;
    EXPECT_EQ(station.next_record(), golden::kTemperature) << first;
  }
  station.reset();
  EXPECT_EQ(board.now(), 0s);
}

// ---- hanging up: the station sends no more, and reads what comes ----------------------------------------

TEST_F(HostileTest, AStationThatHangsUpBeforeItsTurnIsGreetedAndDroppedAtOnce) {
  Station first = board.greeted_station();
  Station second = board.station();
  second.shut_down();
  first.reset();
  const Records records = second.records_until_close();
  ASSERT_GE(records.size(), 2U) << "banner and menu; the prompt may come too late";
  EXPECT_EQ(records[1], golden::kMenu);
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(HostileTest, AHangUpBehindAnyByteOfTwoRequestsIsAnEndInsideTheSecondToo) {
  const std::string requests = kRequest + kRequest;
  for (std::size_t sent = 0; sent <= requests.size(); ++sent) {
    Station station = board.greeted_station();
    station.send(requests.substr(0, sent));
    station.shut_down();
    // One that breaks off is completed by the one before it, which was the same.
    const std::size_t run = (sent + kRequest.size() - 1) / kRequest.size();
    EXPECT_EQ(station.records_until_close(), Records(run, golden::kTemperature)) << sent;
  }
  EXPECT_EQ(board.now(), 0s) << "a station that has hung up is not waited for";
}

TEST_F(HostileTest, AHangUpInAnySecondOfATestEndsTheSessionBehindItsReply) {
  for (int second = 0; second <= 10; ++second) {
    Station station = board.greeted_station();
    station.request(kLight);
    board.advance(std::chrono::seconds(second));
    station.shut_down();
    board.advance(std::chrono::seconds(10 - second));
    EXPECT_EQ(station.next_reply(), golden::kLight);
    for (const std::string& record : station.records_until_close()) EXPECT_EQ(record, golden::kPrompt);
  }
  EXPECT_EQ(board.now(), 110s);
}

// ---- breaking the connection ----------------------------------------------------------------------------

TEST_F(HostileTest, AResetBehindAnyByteOfTwoRequestsLeavesAWorkingServer) {
  const std::string requests = record_of(request_of(1)) + kRequest;
  for (std::size_t sent = 0; sent <= requests.size(); ++sent) {
    Station station = board.greeted_station();
    station.send_at_once(requests.substr(0, sent));
    station.reset_at_once();
  }
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(HostileTest, AResetBehindAnyByteThatTheBoardHasReadEndsTheSessionAtOnce) {
  for (std::size_t sent = 0; sent < kRequest.size(); ++sent) {
    Station station = board.greeted_station();
    station.send(kRequest.substr(0, sent));
    board.advance(50s);
    station.reset_at_once();
  }
  EXPECT_EQ(board.now(), 50s * kRequest.size()) << "the rest of the 100 seconds is not waited for";
}

TEST_F(HostileTest, AResetInAnySecondOfATestLeavesAWorkingServerWhateverWaitsBehindIt) {
  for (const std::string& behind : {std::string(), kRequest}) {
    for (int second = 0; second <= 11; ++second) {
      Station station = board.greeted_station();
      station.send(record_of(request_of(kLight)) + behind);
      board.advance(std::chrono::seconds(second));
      station.reset_at_once();
      board.advance(std::chrono::seconds(12 - second));
    }
  }
  EXPECT_EQ(board.now(), 2 * 144s);
}

TEST_F(HostileTest, NeitherAResetNorAHangUpShortensTheSecondBehindTheQuitRequest) {
  for (const bool hangs_up : {false, true}) {
    for (const Time when : {Time(0us), Time(500ms), Time(999999us)}) {
      const Time start = board.now();
      Station station = board.greeted_station();
      station.request(kQuit);
      board.advance(when);
      hangs_up ? station.shut_down() : station.reset();
      Station next = board.station();
      board.advance(start + 999999us - board.now());
      EXPECT_EQ(next.bytes(), "");
      board.advance(1us);
      next.take_greeting();
      next.reset();
    }
  }
  EXPECT_EQ(board.now(), 6s);
}

// ---- stalls ---------------------------------------------------------------------------------------------

TEST_F(HostileTest, AStallBehindAnyByteOfARequestDoesNoHarmFor99SecondsAndAfter100RunsTheOneBefore) {
  for (std::size_t sent = 1; sent < kRequest.size(); ++sent) {
    Station in_time = board.greeted_station();
    in_time.send(kRequest.substr(0, sent));
    board.advance(99s);
    in_time.expect_prompts(19);
    in_time.send_at_once(kRequest.substr(sent));
    EXPECT_EQ(in_time.next_reply(), golden::kTemperature);
    in_time.reset();

    Station too_late = board.greeted_station();
    too_late.send(kRequest.substr(0, sent));
    // A length that stops short is taken for whole: then the text does not come, either.
    const int waits = sent < kLengthField ? 2 : 1;
    board.advance(waits * kLimit - 1us);
    too_late.expect_prompts(waits * 20 - 1);
    board.advance(1us);
    EXPECT_EQ(too_late.next_reply(), golden::kTemperature);
    too_late.reset();
  }
}

// ---- stations that do not read --------------------------------------------------------------------------

TEST_F(HostileTest, AStationThatReadsNothingIsDroppedAfterHalfAnHourLikeAnyOther) {
  Station deaf = board.narrow_station();
  board.advance(30min - 1us);
  EXPECT_LT(board.trace_of("send station 174 = 174").size(), 360U) << "prompts fill the connection before";
  Station next = board.station();
  EXPECT_EQ(next.bytes(), "");
  board.advance(1us);
  next.take_greeting();
  next.reset();
  EXPECT_EQ(board.now(), 30min);
}

}  // namespace
