// The prompt that a station sees every five seconds.
#include "t1_sdk/boardtest/service/heartbeat.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>
#include <string>

#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/harness/gbk.h"
#include "tests/harness/golden.h"
#include "tests/harness/station_run.h"
#include "tests/harness/wire.h"

namespace {

using namespace boardtest;
using namespace std::chrono_literals;

class HeartbeatTest : public StationRun {
 protected:
  std::size_t prompts() { return station.records().size(); }
  boardsim::Time elapsed() const { return board.now() - start; }
  void start_thread() { ASSERT_EQ(pthread_create(&thread, nullptr, HeartBeatThread, nullptr), 0); }
  /// Waits for the thread's end, which is to come in its pause.
  void expect_end_in_pause() {
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
  }

  pthread_t thread{};
  boardsim::Time start = board.now();
};

// ---- the thread's body ------------------------------------------------------------------

TEST_F(HeartbeatTest, APromptHasTheseBytesAndLeavesTheReplyThatIsUnderConstructionAlone) {
  msg.SetDoc("<TestItem/>");
  board.fault("send #2 EPIPE");
  EXPECT_EQ(HeartBeatThread(nullptr), nullptr);
  EXPECT_EQ(hex(station.bytes()), golden::kPrompt);
  EXPECT_EQ(msg.GetDoc(), "<TestItem/>");
}

TEST_F(HeartbeatTest, PromptsComeEvery5SecondsUntilOneCannotBeSent) {
  board.fault("send #5 EPIPE");
  std::vector<std::size_t> seen;
  for (const auto when : {1s, 4s, 6s, 11s, 16s}) {
    board.at(start + when, [&] { seen.push_back(prompts()); });
  }
  EXPECT_EQ(HeartBeatThread(nullptr), nullptr);
  EXPECT_EQ(seen, (std::vector<std::size_t>{1, 1, 2, 3, 4}));
  EXPECT_EQ(elapsed(), 20s);
  EXPECT_EQ(console.out(), "");
}

TEST_F(HeartbeatTest, TheHeartbeatPausesInWholeSleepsOf5Seconds) {
  board.fault("send #3 EPIPE");
  HeartBeatThread(nullptr);
  std::vector<std::string> sleeps;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name.find("sleep") != std::string::npos) sleeps.push_back(call.text());
  }
  EXPECT_EQ(sleeps, (std::vector<std::string>{"sleep 5", "sleep 5"}));
  EXPECT_EQ(board.hardware_trace(), std::vector<std::string>()) << "the hardware notices nothing";
}

TEST_F(HeartbeatTest, TheHeartbeatEndsWhenItsStationHasReset) {
  board.at(start + 12s, [this] { station.reset(); });
  EXPECT_EQ(HeartBeatThread(nullptr), nullptr);
  EXPECT_EQ(elapsed(), 15s);
}

// ---- being ended ------------------------------------------------------------------------

TEST_F(HeartbeatTest, AHeartbeatInItsPauseEndsAtOnce) {
  start_thread();
  sleep(7);
  pthread_cancel(thread);
  expect_end_in_pause();
  EXPECT_EQ(elapsed(), 7s);
  EXPECT_EQ(prompts(), 2U);
}

TEST_F(HeartbeatTest, AHeartbeatThatWaitsInItsSendFirstSendsTheWholePromptAndEndsInItsPause) {
  wire::fill(g_iSockClient);
  start_thread();
  sleep(2);
  pthread_cancel(thread);
  sleep(20);
  EXPECT_EQ(board.live_threads(), 1) << "it is not ended inside its send";

  station.bytes();  // makes room
  wire::wait_until_writable(g_iSockClient);
  expect_end_in_pause();
  EXPECT_EQ(elapsed(), 22s) << "it does not sleep first";
  std::string received = station.bytes();
  received.erase(0, received.find_first_not_of('\0'));  // what filled the connection
  EXPECT_EQ(hex(received), golden::kPrompt);

  station.forget();
  msg.SetDoc("<TestItem/>");
  EXPECT_EQ(tcp_send_xml_msg(&msg), 0) << "replies go out behind it";
  EXPECT_EQ(station.records(), std::vector<std::string>{"<TestItem/>"});
}

// ---- the heartbeat of a connection ------------------------------------------------------

TEST_F(HeartbeatTest, AStoppedHeartbeatIsGoneAndSendsNoMore) {
  Heartbeat heartbeat;
  EXPECT_TRUE(heartbeat.start());
  sleep(7);
  EXPECT_EQ(prompts(), 2U) << "it runs beside the tests";
  EXPECT_EQ(board.live_threads(), 1);
  heartbeat.stop();
  EXPECT_EQ(board.live_threads(), 0);
  EXPECT_EQ(elapsed(), 7s) << "stopping waits for nothing";
  station.forget();
  sleep(60);
  EXPECT_EQ(prompts(), 0U);
}

TEST_F(HeartbeatTest, AHeartbeatThatEndedByItselfCanBeStopped) {
  board.fault("send #1 EPIPE");
  Heartbeat heartbeat;
  heartbeat.start();
  sleep(1);
  heartbeat.stop();
  heartbeat.stop();
  EXPECT_EQ(board.live_threads(), 0);
}

TEST_F(HeartbeatTest, AHeartbeatEndsWithItsOwner) {
  {
    Heartbeat heartbeat;
    heartbeat.start();
    sleep(1);
  }
  EXPECT_EQ(board.live_threads(), 0);
}

TEST_F(HeartbeatTest, AHeartbeatThatWasNeverStartedNeedsNoEnd) {
  {
    Heartbeat heartbeat;
    heartbeat.stop();
  }
  EXPECT_EQ(prompts(), 0U);
  EXPECT_EQ(elapsed(), 0s);
}

TEST_F(HeartbeatTest, AThreadThatCannotBeCreatedIsNoHeartbeat) {
  board.fault("thread #1 EAGAIN");
  Heartbeat heartbeat;
  EXPECT_FALSE(heartbeat.start());
  heartbeat.stop();
  EXPECT_TRUE(heartbeat.start()) << "the next one is created";
  heartbeat.stop();
}

}  // namespace
