// The server from its start to its end: what ends it, and what happens on a connection.
#include "t1_sdk/boardtest/service/server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <string>
#include <vector>

#include "t1_sdk/boardtest/platform/pins.h"
#include "tests/service/serving.h"

namespace {

using namespace boardtest;
using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

// ---- failures that end the process ------------------------------------------------------

TEST_F(ServerTest, WhatCannotBeStartedEndsTheServerWithItsText) {
  const struct {
    const char* fault;
    const char* text;
  } rows[] = {{"socket #1 EMFILE", "create socket error!"},
              {"bind #1 EADDRINUSE", "bind socket failed!"},
              {"listen #1 EADDRINUSE", "enter listen state failed!"},
              {"accept #1 EMFILE", "accept client failed!"}};
  for (const auto& [fault, text] : rows) {
    with_family("normal");
    console.clear();
    board.fault(fault);
    EXPECT_EQ(run_server(), -1) << fault;
    EXPECT_THAT(console.lines(), ElementsAre("T1 started!", text));
    EXPECT_FALSE(still_listening()) << fault;
  }
}

TEST_F(ServerTest, AfterAFailedBannerNothingIsClosed) {
  g_gpio_sets = {};
  board.fault("send #1 EPIPE");
  Station& station = connect_at(0s);
  EXPECT_EQ(run(), -1);
  EXPECT_THAT(console.lines(), ElementsAre("T1 started!", "send_start_info failed!"));
  EXPECT_EQ(g_gpio_sets.RS485_tx_en, 0) << "no pins are configured for a station that could not be greeted";
  EXPECT_FALSE(station.closed_by_board());
  EXPECT_TRUE(still_listening());
}

TEST_F(ServerTest, ListeningIsRepeatedForEveryStation) {
  board.fault("listen #2 EADDRINUSE");
  connect_at(0s, [](Station& station) { station.request(kQuit); });
  EXPECT_EQ(run(), -1);
  EXPECT_EQ(console.lines().back(), "enter listen state failed!");

  std::vector<std::uint32_t> backlogs;
  for (const boardsim::Call& call : board.trace()) {
    if (call.name == "listen") backlogs.push_back(call.record.at(0));
  }
  EXPECT_THAT(backlogs, ElementsAre(128, 128));
}

// ---- connections ------------------------------------------------------------------------

TEST_F(ServerTest, AStationIsGreetedThenPinsAreConfiguredThenTheHeartbeatStarts) {
  g_gpio_sets = {};
  Station& station = connect_at(0s);
  at(1s, [&] {
    EXPECT_EQ(station.records().size(), 3U) << "banner, menu, first prompt";
    EXPECT_EQ(g_gpio_sets.RS485_tx_en, 38);
    station.request(kQuit);
  });
  run();
  EXPECT_THAT(station.texts()[0], HasSubstr("VELTRONIX"));
  EXPECT_THAT(station.texts()[1], HasSubstr("T1 test menu"));
  EXPECT_THAT(station.texts()[2], HasSubstr("请选择"));
  EXPECT_EQ(console.lines()[0], "T1 started!");
  EXPECT_EQ(console.lines()[1], kHeartbeatStarted);
}

TEST_F(ServerTest, AddressesAreNotReused) {
  int reuse = -1;
  Station& station = connect_at(0s);
  at(1s, [&] {
    socklen_t size = sizeof reuse;
    getsockopt(g_iSockClient, SOL_SOCKET, SO_REUSEADDR, &reuse, &size);
    station.request(kQuit);
  });
  run();
  EXPECT_EQ(reuse, 0);
}

TEST_F(ServerTest, ARequestIsAnsweredAndTheNextOneToo) {
  Station& station = connect_at(0s, [](Station& self) {
    self.request(7426);
    self.request(1536);
    self.request(kQuit);
  });
  run();
  const std::vector<std::string> texts = station.texts();
  EXPECT_THAT(texts, Contains(HasSubstr("<TestCode>7426</TestCode>")));
  EXPECT_THAT(texts, Contains(HasSubstr("<TestCode>1536</TestCode>")));
  EXPECT_EQ(printed("T1_TESTCODE_TEMP"), 1);
  EXPECT_EQ(elapsed(), 7s) << "six seconds for the clock test, one for quit";
}

TEST_F(ServerTest, QuitClosesTheConnectionOneSecondLater) {
  Station& station = connect_at(0s, [](Station& self) { self.request(kQuit); });
  at(999ms, [&] { EXPECT_FALSE(station.closed_by_board()); });
  run();
  EXPECT_TRUE(station.closed_by_board());
  EXPECT_EQ(elapsed(), 1s);
  EXPECT_THAT(console.lines(), ElementsAre("T1 started!", kHeartbeatStarted, "RECV COMMANDS:",
                                           "<TestItem><TestCode>62208</TestCode></TestItem>",
                                           "recv q command", "accept client failed!"));
}

TEST_F(ServerTest, TheSocketOfAConnectionThatHasEndedKeepsItsNumberUntilTheNextStation) {
  int connected = -1;
  int ended = -1;
  Station& first = connect_at(0s);
  at(1s, [&] {
    connected = g_iSockClient;
    first.request(kQuit);
  });
  at(20s, [&] {
    EXPECT_TRUE(first.closed_by_board());
    ended = g_iSockClient;
  });
  connect_at(30s, [](Station& self) { self.request(kQuit); });
  run();
  EXPECT_GE(connected, 0);
  EXPECT_EQ(ended, connected);
  EXPECT_EQ(printed("recv q command"), 2) << "the old number does not hinder the next station";
}

/// Leaves marks where the next call will have its variables.
void mark_stack() {
  volatile unsigned char marks[8192];
  for (volatile unsigned char& mark : marks) mark = 0xAA;
}

TEST_F(ServerTest, ARequestOf511BytesIsPrintedWithNothingBehindIt) {
  const std::string request = "<a>" + std::string(504, 'x') + "</a>";
  connect_at(0s, [&request](Station& self) {
    self.send_record(request);
    self.request(kQuit);
  });
  board.fault("accept #2 EMFILE");
  mark_stack();
  boardtest::run_server();
  EXPECT_THAT(console.lines(), Contains(request));
}

TEST_F(ServerTest, ALengthOfMinusOneClosesTheConnection) {
  Station& station = connect_at(0s, [](Station& self) { self.send(length_field(-1)); });
  run();
  EXPECT_TRUE(station.closed_by_board());
  EXPECT_THAT(console.lines(), Contains(MatchesRegex("send error,errno=[0-9]+")).Times(1));
}

TEST_F(ServerTest, ALengthOfMinusTwoIsNotDispatched) {
  connect_at(0s, [](Station& self) {
    self.send(length_field(-2));
    self.request(kQuit);
  });
  run();
  EXPECT_EQ(printed("testCode is invalid"), 0);
  EXPECT_EQ(printed("recv q command"), 1);
  EXPECT_EQ(idle_waits(), 0);
}

TEST_F(ServerTest, OtherNegativeLengthsDispatchWhatTheBufferHolds) {
  connect_at(0s, [](Station& self) {
    self.send(length_field(-5) + length_field(-2147483647 - 1));
    self.request(kQuit);
  });
  run();
  EXPECT_EQ(printed("testCode is invalid"), 2);
  EXPECT_EQ(printed("recv q command"), 1);
}

TEST_F(ServerTest, AnEmptyRequestRepeatsWhatTheBufferHoldsEvenAnotherStationsRequest) {
  connect_at(0s, [](Station& self) { self.request(kQuit); });
  Station& second = connect_at(10s, [](Station& self) { self.send(length_field(0)); });
  run();
  EXPECT_EQ(printed("recv q command"), 2);
  EXPECT_TRUE(second.closed_by_board());
  EXPECT_EQ(elapsed(), 11s);
}

}  // namespace
