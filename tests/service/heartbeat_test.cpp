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

  boardsim::Time start = board.now();
};

// ---- the thread's body ------------------------------------------------------------------

TEST_F(HeartbeatTest, APromptHasTheseBytes) {
  board.fault("send #2 EPIPE");
  EXPECT_EQ(HeartBeatThread(nullptr), nullptr);
  EXPECT_EQ(hex(station.bytes()), golden::kPrompt);
}

TEST_F(HeartbeatTest, APromptReadsLikeThis) {
  board.fault("send #2 EPIPE");
  HeartBeatThread(nullptr);
  EXPECT_EQ(station.texts(),
            std::vector<std::string>{"<?xml version=\"1.0\" encoding=\"GBK\"?>\r\n"
                                     "<TestItem>\r\n"
                                     "<TestCode>255</TestCode>\r\n"
                                     "<ResultNum>1</ResultNum>\r\n"
                                     "<TestContext>\n请选择测试项(默认值=0): \n</TestContext>\r\n"
                                     "</TestItem>\r\n"});
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

TEST_F(HeartbeatTest, WithoutAStationTheHeartbeatEndsAtOnce) {
  g_iSockClient = -1;
  EXPECT_EQ(HeartBeatThread(nullptr), nullptr);
  EXPECT_EQ(elapsed(), 0s);
}

TEST_F(HeartbeatTest, TheArgumentIsIgnored) {
  int anything = 0;
  board.fault("send #2 EPIPE");
  EXPECT_EQ(HeartBeatThread(&anything), nullptr);
  EXPECT_EQ(prompts(), 1U);
}

TEST_F(HeartbeatTest, TheReplyThatIsUnderConstructionIsLeftAlone) {
  msg.SetDoc("<TestItem/>");
  board.fault("send #2 EPIPE");
  HeartBeatThread(nullptr);
  EXPECT_EQ(msg.GetDoc(), "<TestItem/>");
}

// ---- being ended ------------------------------------------------------------------------

class EndedHeartbeatTest : public HeartbeatTest {
 protected:
  void start_thread() { ASSERT_EQ(pthread_create(&thread, nullptr, HeartBeatThread, nullptr), 0); }
  /// Waits for the thread's end, which is to come in its pause.
  void expect_end_in_pause() {
    void* result = nullptr;
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
  }

  pthread_t thread{};
};

TEST_F(EndedHeartbeatTest, AHeartbeatInItsPauseEndsAtOnce) {
  start_thread();
  sleep(7);
  pthread_cancel(thread);
  expect_end_in_pause();
  EXPECT_EQ(elapsed(), 7s);
  EXPECT_EQ(prompts(), 2U);
}

TEST_F(EndedHeartbeatTest, AHeartbeatThatWaitsInItsSendFirstSendsTheWholePromptAndEndsInItsPause) {
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
}

TEST_F(EndedHeartbeatTest, AfterAHeartbeatThatWasEndedBehindItsSendRepliesGoOut) {
  wire::fill(g_iSockClient);
  start_thread();
  sleep(2);
  pthread_cancel(thread);
  station.bytes();  // makes room
  wire::wait_until_writable(g_iSockClient);
  expect_end_in_pause();
  station.forget();
  msg.SetDoc("<TestItem/>");
  EXPECT_EQ(tcp_send_xml_msg(&msg), 0);
  EXPECT_EQ(station.records(), std::vector<std::string>{"<TestItem/>"});
  EXPECT_EQ(elapsed(), 2s);
}

// ---- the heartbeat of a connection ------------------------------------------------------

TEST_F(HeartbeatTest, AHeartbeatRunsBesideTheTests) {
  Heartbeat heartbeat;
  EXPECT_TRUE(heartbeat.start());
  EXPECT_EQ(board.live_threads(), 1);
  sleep(12);
  EXPECT_EQ(prompts(), 3U);
  heartbeat.stop();
}

TEST_F(HeartbeatTest, AStoppedHeartbeatIsGoneAndSendsNoMore) {
  Heartbeat heartbeat;
  heartbeat.start();
  sleep(7);
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

TEST_F(HeartbeatTest, HeartbeatsOneAfterTheOtherDoNotPileUp) {
  Heartbeat heartbeat;
  for (int connection = 0; connection < 1000; ++connection) {
    EXPECT_TRUE(heartbeat.start());
    EXPECT_LE(board.live_threads(), 1);
    heartbeat.stop();
  }
  EXPECT_EQ(board.live_threads(), 0);
  EXPECT_EQ(elapsed(), 0s);
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
