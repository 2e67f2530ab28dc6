// The server and its stations over time: prompts, silence, and stations that vanish.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/service/serving.h"

namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

constexpr char kHalfHour[] = "T1 exit cause' there is no operation over half an hour!";

// ---- heartbeat --------------------------------------------------------------------------

TEST_F(ServerTest, PromptsComeWhileATestRuns) {
  Station& station = connect_at(0s, [](Station& self) { self.request(14592); });
  at(9s, [&] { EXPECT_EQ(prompts(station), 2); });
  at(12s, [&] { station.request(kQuit); });
  run();
  EXPECT_EQ(prompts(station), 3);
}

TEST_F(ServerTest, WithoutAHeartbeatThreadTheServerGoesOn) {
  board.fault("thread #1 EAGAIN");
  Station& station = connect_at(0s, [](Station& self) { self.request(1536); });
  at(30s, [&] { station.request(kQuit); });
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(console.lines()[1], "can't create thread ThreadUpnpProcess");
  EXPECT_EQ(printed(kHeartbeatStarted), 0);
  EXPECT_EQ(prompts(station), 0);
  EXPECT_EQ(station.records().size(), 3U) << "banner, menu, the clock test's reply";
}

TEST_F(ServerTest, APromptThatAStationDoesNotReadDoesNotHoldUpTheNextStation) {
  Station& first = connect_at(0s);
  at(2s, [] { wire::fill(g_iSockClient); });
  at(10s, [&] { first.send(length_field(513)); });
  Station& second = connect_at(11s, [](Station& self) { self.request(kQuit); });
  run();
  EXPECT_EQ(elapsed(), 12s);
  EXPECT_TRUE(second.closed_by_board());
}

// ---- stations that go quiet or vanish ---------------------------------------------------

TEST_F(ServerTest, ASilentStationIsDroppedAfterHalfAnHour) {
  Station& station = connect_at(0s);
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(elapsed(), 30min);
  EXPECT_EQ(idle_waits(), 18);
  EXPECT_EQ(printed(kHalfHour), 1);
  EXPECT_TRUE(station.closed_by_board());
  EXPECT_GE(prompts(station), 360);
  EXPECT_LE(prompts(station), 361);
}

TEST_F(ServerTest, AStationThatDisconnectsIsDroppedAfter18WaitsThatEndAtOnce) {
  connect_at(0s, [](Station& self) { self.shut_down(); });
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(elapsed(), 0s);
  EXPECT_EQ(idle_waits(), 18);
  EXPECT_EQ(printed("tcp_readn time_out,goto loop! count =0..."), 1);
  EXPECT_EQ(printed("tcp_readn time_out,goto loop! count =17..."), 1);
  EXPECT_EQ(printed(kHalfHour), 1);
}

TEST_F(ServerTest, TheStationAfterASilentOneIsDroppedAfterItsFirstEmptyWait) {
  connect_at(0s);
  connect_at(2000s);
  run();
  EXPECT_EQ(elapsed(), 2100s);
  EXPECT_EQ(idle_waits(), 19);
  EXPECT_EQ(printed("tcp_readn time_out,goto loop! count =18..."), 1);
  EXPECT_EQ(printed(kHalfHour), 2);
}

TEST_F(ServerTest, AKnownCodeGivesTheNextStationItsHalfHourBack) {
  connect_at(0s);
  connect_at(2000s, [](Station& self) { self.request(7426); });
  run();
  EXPECT_EQ(elapsed(), 2000s + 30min);
  EXPECT_EQ(idle_waits(), 36);
}

TEST_F(ServerTest, AnUnknownCodeDoesNotProlongTheHalfHour) {
  Station& station = connect_at(0s);
  for (int i = 1; i <= 17; ++i) at(150s * i, [&] { station.request(1); });
  run();
  EXPECT_EQ(idle_waits(), 18) << "empty waits count, requests between them do not reset the counter";
  EXPECT_EQ(printed("testCode is invalid"), 17);
}

TEST_F(ServerTest, AResetConnectionIsClosedAndTheNextStationIsServed) {
  Station& first = connect_at(0s);
  at(7s, [&] { first.reset(); });
  Station& second = connect_at(20s, [](Station& self) { self.request(kQuit); });
  EXPECT_EQ(run(), -1);
  EXPECT_THAT(console.lines(), Contains(MatchesRegex("send error,errno=[0-9]+")).Times(2));
  EXPECT_THAT(second.texts()[0], HasSubstr("VELTRONIX"));
  EXPECT_EQ(printed("recv q command"), 1);
}

}  // namespace
