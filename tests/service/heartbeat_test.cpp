// The prompt that a station sees every five seconds.
#include "t1_sdk/boardtest/service/heartbeat.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <string>

#include "t1_sdk/boardtest/protocol/message.h"
#include "tests/harness/console.h"
#include "tests/harness/gbk.h"
#include "tests/harness/on_board.h"
#include "tests/harness/station_link.h"

namespace {

using namespace std::chrono_literals;

class HeartbeatTest : public OnBoard {
 protected:
  std::size_t prompts() { return station.records().size(); }
  boardsim::Time elapsed() const { return board.now() - start; }

  Console console;
  StationLink station;
  boardsim::Time start = board.now();
};

// The whole record of one prompt.
constexpr char kPrompt[] =
    "aa0000003c3f786d6c2076657273696f6e3d22312e302220656e636f64696e673d2247424b223f3e"
    "0d0a3c546573744974656d3e0d0a3c54657374436f64653e3235353c2f54657374436f64653e0d0a"
    "3c526573756c744e756d3e313c2f526573756c744e756d3e0d0a3c54657374436f6e746578743e0a"
    "c7ebd1a1d4f1b2e2cad4cfee28c4acc8cfd6b53d30293a200a3c2f54657374436f6e746578743e0d"
    "0a3c2f546573744974656d3e0d0a";

// ---- the thread's body ------------------------------------------------------------------

TEST_F(HeartbeatTest, APromptHasTheseBytes) {
  board.fault("send #2 EPIPE");
  EXPECT_EQ(HeartBeatThread(nullptr), nullptr);
  EXPECT_EQ(hex(station.bytes()), kPrompt);
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

TEST_F(HeartbeatTest, AThreadThatCannotBeCreatedIsNoHeartbeat) {
  board.fault("thread #1 EAGAIN");
  Heartbeat heartbeat;
  EXPECT_FALSE(heartbeat.start());
  heartbeat.stop();
  EXPECT_TRUE(heartbeat.start()) << "the next one is created";
  heartbeat.stop();
}

}  // namespace
