// What one station meets: its greeting, its prompts, half an hour of silence, and what odd requests do.
#include <chrono>
#include <limits>

#include "tests/e2e/on_server.h"
#include "tests/harness/gbk.h"

namespace {

using namespace std::chrono_literals;

// ---- banner, menu and prompts ---------------------------------------------------------------------------

using GreetingTest = OnServer;

/// The banner with its build date and time, which differ from build to build, replaced by the golden ones.
std::string with_golden_build(const std::string& banner) {
  const std::string label = hex("BUILD: ");
  const std::size_t start = banner.find(label) + label.size();
  const std::string golden = hex("Mar 29 2019-22:09:55");
  if (start + golden.size() > banner.size()) return banner;
  return banner.substr(0, start) + golden + banner.substr(start + golden.size());
}

TEST_F(GreetingTest, AStationIsGreetedWithBannerMenuAndPromptByteByByte) {
  for (const char* fault : {"", "send short 1"}) {
    SCOPED_TRACE(fault);
    if (*fault != '\0') board.fault(fault);
    Station station = board.station();
    EXPECT_EQ(with_golden_build(station.next_record("the banner")), golden::kBanner);
    EXPECT_EQ(station.next_record("the menu"), golden::kMenu);
    EXPECT_EQ(station.next_record("the first prompt"), golden::kPrompt);
    board.settle();
    EXPECT_EQ(station.bytes(), "");
    EXPECT_EQ(board.now(), 0s);
    station.reset();
  }
}

TEST_F(GreetingTest, EveryPromptGoesOutAtAMultipleOfFiveSeconds) {
  Station station = board.greeted_station();
  board.advance(60s);
  station.expect_prompts(12);
  const Lines sends = board.trace_of(" send station 174 ");
  ASSERT_EQ(sends.size(), 13U);
  for (std::size_t i = 0; i < sends.size(); ++i) {
    EXPECT_EQ(sends[i], std::to_string(5 * i) + ".000000 send station 174 = 174");
  }
}

TEST_F(GreetingTest, APromptNeverStandsInsideAReplyWhenEverySendIsShort) {
  Station station = board.greeted_station();
  board.fault("send short 1");
  for (int i = 0; i < 40; ++i) {
    station.request(kLight);
    board.advance(10s);
    int prompts = 0;
    EXPECT_EQ(station.next_reply(&prompts), golden::kLight);
    station.expect_prompts(2 - prompts);
  }
}

TEST_F(GreetingTest, AStationAfterOneWithoutHeartbeatHasPromptsAgain) {
  board.fault("thread #1 EAGAIN");
  Station without = board.station();
  without.next_record("the banner");
  EXPECT_EQ(without.next_record("the menu"), golden::kMenu);
  board.expect_lines({"can't create thread ThreadUpnpProcess"});
  quit(without);
  Station station = board.greeted_station();
  board.advance(5s);
  station.expect_prompts(1);
}

// ---- half an hour without a request, and the counter behind it ------------------------------------------

class IdleTest : public OnServer {
 protected:
  /// A station has come and goes because of an empty wait.
  void expect_drop(Station& station, int wait) {
    board.lines_until(empty_wait(wait));
    board.expect_lines({kHalfHourOver, kClosing});
    station.records_until_close();
  }
};

TEST_F(IdleTest, TheCounterOutlivesItsConnectionAndOnlyAKnownCodeSetsItBack) {
  Station hangs_up = board.station();
  hangs_up.shut_down();
  board.expect_lines({"HeartBeatThread started"});
  for (int wait = 0; wait < 17; ++wait) board.expect_lines({empty_wait(wait)});
  expect_drop(hangs_up, 17);
  EXPECT_EQ(board.now(), 0s);

  Station silent = board.greeted_station();
  board.advance(99999999us);
  silent.expect_prompts(19);
  EXPECT_FALSE(silent.closed_by_board());
  board.advance(1us);
  expect_drop(silent, 18);

  Station asks_for_the_unknown = board.greeted_station();
  asks_for_the_unknown.request(1);
  board.advance(100s);
  board.lines_until(kInvalid);
  expect_drop(asks_for_the_unknown, 19);

  Station quits = board.greeted_station();
  quit(quits);
  Station hangs_up_too = board.station();
  hangs_up_too.shut_down();
  expect_drop(hangs_up_too, 20);

  Station is_tested = board.greeted_station();
  expect_temperature(is_tested);
  board.advance(1700s);
  board.lines_until(empty_wait(0));
  board.lines_until(empty_wait(16));
  EXPECT_FALSE(is_tested.closed_by_board());
  board.advance(100s);
  expect_drop(is_tested, 17);
}

// ---- requests that are none -----------------------------------------------------------------------------

enum Then { waits, hangs_up };
enum Outcome { goes_on, is_answered, is_dropped, is_answered_and_dropped };

/// What a station sends that has asked for the temperature before, what it does then, and what comes of it.
struct OddRequest {
  const char* what;
  std::string bytes;
  Then then;
  std::chrono::seconds silence;
  std::string run;  ///< what the console shows as received; empty: nothing
  Outcome outcome;  ///< the answer is a temperature
};

const std::string kBefore = request_of(kTemperature);  // stands in the server's buffer

// clang-format off
const OddRequest kOddRequests[] = {
    {"a length of 513", length_field(513), waits, 0s, "", is_dropped},
    {"the largest length", length_field(std::numeric_limits<std::int32_t>::max()), waits, 0s, "", is_dropped},
    {"two bytes of a length that already say too much", "\xff\xff", waits, 100s, "", is_dropped},
    {"a length of 0", length_field(0), waits, 0s, kBefore, is_answered},
    {"a length of -1", length_field(-1), waits, 0s, kBefore, is_dropped},
    {"a length of -2", length_field(-2), waits, 0s, kBefore, goes_on},
    {"a length of -5", length_field(-5), waits, 0s, kBefore, is_answered},
    {"the smallest length", length_field(std::numeric_limits<std::int32_t>::min()), waits, 0s, kBefore, is_answered},
    {"a shorter request", record_of("<TestItem><TestCode>8"), waits, 0s, request_of(8426), goes_on},
    {"a record that breaks off", length_field(46) + "<TestItem><TestCode>1", waits, 100s, request_of(1426), goes_on},
    {"a record that a close cuts short", length_field(46) + "<TestItem>", hangs_up, 0s, kBefore, is_answered_and_dropped},
    // A part of a length is taken for the whole one, and the three bytes do not come either.
    {"one byte of a length", length_field(3).substr(0, 1), waits, 200s, kBefore, is_answered},
    {"two bytes of a length", length_field(3).substr(0, 2), waits, 200s, kBefore, is_answered},
    {"three bytes of a length", length_field(3).substr(0, 3), waits, 200s, kBefore, is_answered},
    {"one byte of a length and a close", length_field(3).substr(0, 1), hangs_up, 0s, kBefore, is_answered_and_dropped},
};
// clang-format on

using OddRequestTest = OnServer;

TEST_F(OddRequestTest, EndsTheConnectionOrRunsWithWhatTheBufferHolds) {
  for (const OddRequest& odd : kOddRequests) {
    SCOPED_TRACE(odd.what);
    const BoardUnderTest::Time start = board.now();
    Station station = board.greeted_station();
    board.lines_until("HeartBeatThread started");
    expect_temperature(station);
    board.lines_until("温度传感器测得当前温度");
    station.send(odd.bytes);
    if (odd.then == hangs_up) station.shut_down();
    board.advance(odd.silence);
    if (odd.run.empty()) {
      board.expect_lines({kClosing, kClosing});
    } else {
      board.expect_lines({"RECV COMMANDS:", odd.run});
    }
    if (odd.outcome == is_answered || odd.outcome == is_answered_and_dropped) {
      EXPECT_EQ(station.next_reply(), golden::kTemperature);
    } else if (!odd.run.empty() && odd.run != kBefore) {
      board.expect_lines({kInvalid});
    }
    if (odd.outcome == is_dropped || odd.outcome == is_answered_and_dropped) {
      station.records_until_close();
    } else {
      expect_temperature(station);
      station.reset();
    }
    EXPECT_EQ(board.now(), start + odd.silence);
  }
}

}  // namespace
