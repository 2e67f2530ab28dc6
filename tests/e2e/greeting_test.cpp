// What every station is sent without asking: banner, menu and prompts.
#include <chrono>

#include "tests/e2e/on_server.h"
#include "tests/harness/gbk.h"
#include "tests/harness/golden.h"

namespace {

using namespace std::chrono_literals;

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
  Station station(board);
  EXPECT_EQ(with_golden_build(station.next_record("the banner")), golden::kBanner);
  EXPECT_EQ(station.next_record("the menu"), golden::kMenu);
  EXPECT_EQ(station.next_record("the first prompt"), golden::kPrompt);
  board.settle();
  EXPECT_EQ(station.pending(), Records());
  EXPECT_EQ(board.now(), 0s);
  board.expect_lines({"HeartBeatThread started"});
}

TEST_F(GreetingTest, APromptComesEveryFiveSecondsAndNotEarlier) {
  Station station(board);
  station.take_greeting();
  for (int i = 0; i < 5; ++i) {
    board.advance(4999999us);
    EXPECT_EQ(station.pending(), Records());
    board.advance(1us);
    station.expect_prompts(1);
  }
}

TEST_F(GreetingTest, EveryPromptGoesOutAtAMultipleOfFiveSeconds) {
  Station station(board);
  station.take_greeting();
  board.advance(60s);
  station.expect_prompts(12);
  const Lines sends = board.trace_of(" send station 174 ");
  ASSERT_EQ(sends.size(), 13U);
  for (std::size_t i = 0; i < sends.size(); ++i) {
    EXPECT_EQ(sends[i], std::to_string(5 * i) + ".000000 send station 174 = 174");
  }
}

TEST_F(GreetingTest, PromptsGoOnWhileATestRuns) {
  Station station(board);
  station.take_greeting();
  board.advance(1s);
  station.request(14592);
  board.advance(3999999us);
  EXPECT_EQ(station.pending(), Records());
  board.advance(1us);
  station.expect_prompts(1);
  board.advance(5s);
  station.expect_prompts(1);
  board.advance(999999us);
  EXPECT_EQ(station.pending(), Records());
  board.advance(1us);
  EXPECT_EQ(station.next_record(), golden::kLight);
}

TEST_F(GreetingTest, AReplyAndAPromptAtTheSameMomentAreBothWhole) {
  Station station(board);
  station.take_greeting();
  for (int i = 0; i < 20; ++i) {
    station.request(14592);
    board.advance(10s);
    int prompts = 0;
    EXPECT_EQ(station.next_reply(prompts), golden::kLight);
    station.expect_prompts(2 - prompts);
  }
}

TEST_F(GreetingTest, APromptNeverStandsInsideAReplyWhenEverySendIsShort) {
  Station station(board);
  station.take_greeting();
  board.fault("send short 1");
  for (int i = 0; i < 40; ++i) {
    station.request(14592);
    board.advance(10s);
    int prompts = 0;
    EXPECT_EQ(station.next_reply(prompts), golden::kLight);
    station.expect_prompts(2 - prompts);
  }
}

TEST_F(GreetingTest, BannerAndMenuAreWholeWhenEverySendIsShort) {
  board.fault("send short 1");
  Station station(board);
  EXPECT_EQ(with_golden_build(station.next_record("the banner")), golden::kBanner);
  EXPECT_EQ(station.next_record("the menu"), golden::kMenu);
  EXPECT_EQ(station.next_record("the first prompt"), golden::kPrompt);
}

TEST_F(GreetingTest, WithoutAHeartbeatAStationIsTestedAllTheSame) {
  board.fault("thread #1 EAGAIN");
  Station station(board);
  station.next_record("the banner");
  EXPECT_EQ(station.next_record("the menu"), golden::kMenu);
  board.expect_lines({"can't create thread ThreadUpnpProcess"});
  board.advance(60s);
  EXPECT_EQ(station.pending(), Records());
  station.request(7426);
  EXPECT_EQ(station.next_record(), golden::kTemperature);
}

TEST_F(GreetingTest, AStationAfterOneWithoutHeartbeatHasPromptsAgain) {
  board.fault("thread #1 EAGAIN");
  {
    Station without(board);
    without.next_record("the banner");
    without.next_record("the menu");
    without.request(62208);
    board.lines_until("recv q command");
    board.advance(1s);
    EXPECT_EQ(without.records_until_close(), Records());
  }
  Station station(board);
  station.take_greeting();
  board.advance(5s);
  station.expect_prompts(1);
}

}  // namespace
