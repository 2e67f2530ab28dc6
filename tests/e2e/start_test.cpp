// The server's start and what ends it.
#include <chrono>
#include <ostream>

#include "tests/e2e/on_server.h"

namespace {

using namespace std::chrono_literals;

struct Failure {
  std::string name;
  std::string fault;
  std::string text;
};

void PrintTo(const Failure& failure, std::ostream* out) {
  *out << failure.fault;
}

/// Failures before the first station.
class StartTest : public ::testing::TestWithParam<Failure> {};

TEST_P(StartTest, TheServerEndsWithMinusOneAndItsText) {
  BoardUnderTest board({"--fault", GetParam().fault});
  EXPECT_EQ(board.exit_status(), 255);
  EXPECT_EQ(board.remaining_lines(), (Lines{"T1 started!", GetParam().text}));
}

INSTANTIATE_TEST_SUITE_P(
    AFailureOf, StartTest,
    ::testing::Values(Failure{"Socket", "socket #1 EMFILE", "create socket error!"},
                      Failure{"Bind", "bind #1 EADDRINUSE", "bind socket failed!"},
                      Failure{"Listen", "listen #1 EADDRINUSE", "enter listen state failed!"},
                      Failure{"Accept", "accept #1 ECONNABORTED", "accept client failed!"}),
    [](const auto& test) { return test.param.name; });

/// Failures when the first station has gone.
class NextPassTest : public ::testing::TestWithParam<Failure> {};

TEST_P(NextPassTest, TheServerEndsWithMinusOneAndItsText) {
  BoardUnderTest board({"--fault", GetParam().fault});
  Station station(board);
  station.take_greeting();
  station.request(62208);
  board.advance_to_its_end(1s);
  EXPECT_EQ(board.exit_status(), 255);
  EXPECT_EQ(board.remaining_lines(), (Lines{"T1 started!", "HeartBeatThread started", "RECV COMMANDS:",
                                            request_of(62208), "recv q command", GetParam().text}));
}

INSTANTIATE_TEST_SUITE_P(AFailureOf, NextPassTest,
                         ::testing::Values(Failure{"Listen", "listen #2 EADDRINUSE",
                                                   "enter listen state failed!"},
                                           Failure{"Accept", "accept #2 EMFILE", "accept client failed!"}),
                         [](const auto& test) { return test.param.name; });

/// Failures of the first two records to a station.
class GreetingFailureTest : public ::testing::TestWithParam<Failure> {};

TEST_P(GreetingFailureTest, EndsTheServerWithMinusOneAndItsText) {
  BoardUnderTest board({"--fault", GetParam().fault});
  const Station station(board);
  EXPECT_EQ(board.exit_status(), 255);
  EXPECT_EQ(board.remaining_lines(), (Lines{"T1 started!", GetParam().text}));
  EXPECT_EQ(board.trace_of(" close station"), Lines()) << "nothing is closed before the end";
  EXPECT_EQ(board.trace_of(" close listener"), Lines());
}

INSTANTIATE_TEST_SUITE_P(OfThe, GreetingFailureTest,
                         ::testing::Values(Failure{"Banner", "send #1 EPIPE", "send_start_info failed!"},
                                           Failure{"Menu", "send #2 ECONNRESET", "send_start_info failed!"},
                                           Failure{"Wait", "select #1 EINVAL", "send_start_info failed!"}),
                         [](const auto& test) { return test.param.name; });

TEST(ListeningTest, TheListeningSocketIsClosedWhenBindingFails) {
  BoardUnderTest board({"--fault", "bind #1 EADDRINUSE"});
  EXPECT_EQ(board.exit_status(), 255);
  const Lines calls = board.trace_of(" close ");
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(board.trace_of(" bind ").size(), 1U);
  EXPECT_EQ(board.trace().back(), calls.back());
}

TEST(ListeningTest, TheServerBindsTheAddressOfEth0AndListensForManyStations) {
  BoardUnderTest board;
  board.settle();
  EXPECT_EQ(board.trace_of(" bind "), Lines{"0.000000 bind " + board.address() + ":36001 = 0"});
  EXPECT_EQ(board.trace_of(" listen "), Lines{"0.000000 listen listener 128 = 0"});
}

TEST(ListeningTest, TheServerListensAgainForEachStation) {
  BoardUnderTest board;
  for (int i = 0; i < 3; ++i) {
    Station station(board);
    station.take_greeting();
    station.request(62208);
    board.advance(1s);
    station.records_until_close();
  }
  board.settle();
  EXPECT_EQ(board.trace_of(" listen ").size(), 4U);
}

TEST(ServerRestartTest, AServerStartsAgainAtOnceAfterAStationQuit) {
  for (int i = 0; i < 3; ++i) {
    BoardUnderTest board;
    Station station(board);
    station.take_greeting();
    station.request(62208);
    board.advance(1s);
    EXPECT_EQ(station.records_until_close(),
              Records());  // closed by the board, which then waits for a minute
  }
}

TEST(ServerRestartTest, AServerStartsAgainAtOnceAfterItEnded) {
  for (int i = 0; i < 3; ++i) {
    BoardUnderTest board;
    Station station(board);
    station.take_greeting();
    board.switch_off();
    board.exit_status();
    EXPECT_EQ(station.records_until_close(), Records());
  }
}

}  // namespace
