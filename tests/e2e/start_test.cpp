// The server's start and what ends it.
#include <chrono>

#include "tests/e2e/on_server.h"

namespace {

using namespace std::chrono_literals;

/// What fails, when, and the last line on the console.
struct Failure {
  enum Moment { before_any_station, in_the_greeting, behind_a_station } moment;
  const char* fault;
  const char* text;
};

const Failure kFailures[] = {
    {Failure::before_any_station, "socket #1 EMFILE", "create socket error!"},
    {Failure::in_the_greeting, "send #1 EPIPE", "send_start_info failed!"},
    {Failure::in_the_greeting, "send #2 ECONNRESET", "send_start_info failed!"},
    {Failure::in_the_greeting, "select #1 EINVAL", "send_start_info failed!"},
    {Failure::behind_a_station, "accept #2 EMFILE", "accept client failed!"},
};

TEST(StartTest, WhatFailsAroundAStationEndsTheServerWithStatus255AndItsText) {
  for (const Failure& failure : kFailures) {
    SCOPED_TRACE(failure.fault);
    BoardUnderTest board({"--fault", failure.fault});
    Lines said = {"T1 started!"};
    if (failure.moment == Failure::in_the_greeting) board.station();
    if (failure.moment == Failure::behind_a_station) {
      Station station = board.greeted_station();
      station.request(kQuit);
      board.advance_to_its_end(1s);
      said.insert(said.end(),
                  {"HeartBeatThread started", "RECV COMMANDS:", request_of(kQuit), "recv q command"});
    }
    said.emplace_back(failure.text);
    EXPECT_EQ(board.exit_status(), 255);
    EXPECT_EQ(board.remaining_lines(), said);
    if (failure.moment == Failure::in_the_greeting) {
      EXPECT_EQ(board.trace_of(" close station"), Lines()) << "nothing is closed before the end";
      EXPECT_EQ(board.trace_of(" close listener"), Lines());
    }
  }
}

TEST(StartTest, TheListeningSocketIsClosedWhenBindingFails) {
  BoardUnderTest board({"--fault", "bind #1 EADDRINUSE"});
  EXPECT_EQ(board.exit_status(), 255);
  EXPECT_EQ(board.trace_of(" bind ").size(), 1U);
  EXPECT_NE(board.trace().back().find(" close "), std::string::npos);
}

using ListeningTest = OnServer;

TEST_F(ListeningTest, TheServerBindsTheAddressOfEth0AndListensForManyStations) {
  board.settle();
  EXPECT_EQ(board.trace_of(" bind "), Lines{"0.000000 bind " + board.address() + ":36001 = 0"});
  EXPECT_EQ(board.trace_of(" listen "), Lines{"0.000000 listen listener 128 = 0"});
}

}  // namespace
