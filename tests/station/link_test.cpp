// Real connections over the loopback network, and the operator who ends their waits.
#include "station/link/link.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "station/link/interrupt.h"
#include "station/text/errors.h"
#include "tests/station/fake_board.h"

namespace {

using namespace t1station;

// A wait that only ends early; nothing here waits for its end.
constexpr double kLongTime = 20;

TEST(AddressTest, ABoardsPortIs36001UnlessSaidOtherwise) {
  EXPECT_EQ(parse_address("192.0.2.7").text(), "192.0.2.7:36001");
  EXPECT_EQ(parse_address("board.example:7").text(), "board.example:7");
}

TEST(AddressTest, WhatIsNoAddressIsRefused) {
  for (const std::string text :
       {"", ":36001", "host:", "host:0", "host:65536", "host:12x", "host:-1", "a:b:c"}) {
    EXPECT_THROW(parse_address(text), UsageError) << text;
  }
}

class LinkTest : public testing::Test {
 protected:
  Interrupt interrupt_;
};

TEST_F(LinkTest, BytesGoBothWaysUntilTheBoardCloses) {
  FakeBoard board({{hears(), sends("answer"), hears()}});
  TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
  EXPECT_EQ(link.receive(0).kind, Received::Kind::nothing) << "nobody waits for a silent board";
  link.send(std::string("\x02\0\0\0hi", 6));
  const Received received = link.receive(kLongTime);
  EXPECT_EQ(received.kind, Received::Kind::data);
  EXPECT_EQ(received.bytes, "answer");
  link.send(std::string("\x01\0\0\0x", 5));
  const Received end = link.receive(kLongTime);
  EXPECT_EQ(end.kind, Received::Kind::closed);
  EXPECT_EQ(end.reason, "the board closed the connection");
  EXPECT_EQ(board.requests(), (std::vector<std::string>{"hi", "x"}));
}

TEST_F(LinkTest, ABoardIsFoundByNameToo) {
  if (gethostbyname("localhost") == nullptr) GTEST_SKIP() << "a bare machine knows no name, not even its own";
  FakeBoard board({{sends("x")}});
  TcpLink link({"localhost", board.port()}, kLongTime, interrupt_);
  EXPECT_EQ(link.receive(kLongTime).bytes, "x");
}

TEST_F(LinkTest, AResetIsNoticedAndSendingAfterItFailsWithoutEndingTheProcess) {
  FakeBoard board({{hears(), resets()}});
  TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
  link.send(std::string("\x01\0\0\0x", 5));
  const Received end = link.receive(kLongTime);
  EXPECT_EQ(end.kind, Received::Kind::closed);
  EXPECT_EQ(end.reason, "the connection broke: Connection reset by peer");
  EXPECT_THROW(link.send("more"), LinkError);
}

TEST_F(LinkTest, NobodyListeningIsSaidWithTheAddressAndMayListenLater) {
  std::string address;
  {
    FakeBoard board({});
    address = board.address();
  }
  try {
    TcpLink link(parse_address(address), kLongTime, interrupt_);
    FAIL() << "connected";
  } catch (const NotThereYet& error) {
    EXPECT_EQ(error.what(), "no connection to " + address + ": Connection refused");
  }
  EXPECT_THROW(TcpLink({"256.256.256.256.", "1"}, kLongTime, interrupt_), NotThereYet)
      << "a name that nobody knows may be known later, too";
}

TEST_F(LinkTest, AHostThatDoesNotAnswerMayAnswerLater) {
  const int board = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof where;
  ASSERT_EQ(bind(board, reinterpret_cast<const sockaddr*>(&where), size), 0);
  ASSERT_EQ(listen(board, 0), 0);
  ASSERT_EQ(getsockname(board, reinterpret_cast<sockaddr*>(&where), &size), 0);
  const Address address{"127.0.0.1", std::to_string(ntohs(where.sin_port))};
  const TcpLink the_only_one_it_has_room_for(address, kLongTime, interrupt_);
  try {
    TcpLink link(address, 0.1, interrupt_);
    ADD_FAILURE() << "connected";
  } catch (const NotThereYet& error) {
    EXPECT_EQ(error.what(), "no connection to " + address.text() + ": Connection timed out");
  }
  close(board);
}

TEST_F(LinkTest, TheOperatorEndsAWaitAtOnce) {
  FakeBoard board({{hears(), does([this] { interrupt_.raise(); }), awaits_close()}});
  TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
  link.send(std::string("\x01\0\0\0x", 5));
  EXPECT_EQ(link.receive(kLongTime).kind, Received::Kind::interrupted);
  EXPECT_EQ(link.receive(kLongTime).kind, Received::Kind::interrupted) << "and every later one";
  EXPECT_THROW(TcpLink({"127.0.0.1", "1"}, kLongTime, interrupt_), LinkError) << "nor is a connection made";
}

// ---- an operator who wants to stop ------------------------------------------------------------------------

TEST(InterruptTest, AnInterruptStaysRaised) {
  Interrupt interrupt;
  EXPECT_FALSE(interrupt.is_raised()) << "not by itself";
  for (int i = 0; i < 100000; ++i) interrupt.raise();  // more than the pipe holds
  EXPECT_TRUE(interrupt.is_raised());
  EXPECT_TRUE(interrupt.is_raised());
}

TEST(InterruptTest, WhileHeldTheFirstInterruptIsNotedAndTheSecondCountsOrTheEndOfTheHold) {
  Interrupt interrupt;
  const HeldInterrupt held(interrupt);
  EXPECT_FALSE(interrupt.is_noted());
  interrupt.raise();
  EXPECT_TRUE(interrupt.is_noted());
  EXPECT_FALSE(interrupt.is_raised());
  interrupt.raise();
  EXPECT_TRUE(interrupt.is_raised());
  Interrupt other;
  {
    const HeldInterrupt its_hold(other);
    other.raise();
    EXPECT_FALSE(other.is_raised());
  }
  EXPECT_TRUE(other.is_raised());
}

/// Raises these signals in a station that watches them; it ends with exit code 1 when it was interrupted.
[[noreturn]] void raise_in_a_station(const std::vector<int>& signals) {
  Interrupt interrupt;
  interrupt.watch_signals();
  for (const int signal : signals) std::raise(signal);
  std::_Exit(interrupt.is_raised() ? 1 : 0);
}

TEST(InterruptTest, TheFirstSignalThatAsksForTheEndInterruptsAndTheSecondEndsTheStation) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(raise_in_a_station({signal}), testing::ExitedWithCode(1), "") << signal;
  }
  EXPECT_EXIT(raise_in_a_station({SIGTERM, SIGINT}), testing::KilledBySignal(SIGINT), "");
  EXPECT_EXIT(raise_in_a_station({SIGHUP, SIGHUP}), testing::ExitedWithCode(1), "")
      << "a hang-up that is reported twice is one";
}

TEST(InterruptTest, AHangUpThatTheShellIgnoresStaysIgnored) {
  const auto ignored = [] {
    std::signal(SIGHUP, SIG_IGN);
    raise_in_a_station({SIGHUP});
  };
  EXPECT_EXIT(ignored(), testing::ExitedWithCode(0), "");
}

}  // namespace
