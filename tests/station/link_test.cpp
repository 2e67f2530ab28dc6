// Real connections over the loopback network.
#include "station/link/link.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

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
  // Everything up to the end of the connection.
  Received receive_all(TcpLink& link, std::string& bytes) {
    Received received = link.receive(kLongTime);
    while (received.kind == Received::Kind::data) {
      bytes += received.bytes;
      received = link.receive(kLongTime);
    }
    return received;
  }

  Interrupt interrupt_;
};

TEST_F(LinkTest, BytesGoBothWays) {
  FakeBoard board({{hears(), sends("answer"), awaits_close()}});
  {
    TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
    link.send(std::string("\x02\0\0\0hi", 6));
    const Received received = link.receive(kLongTime);
    EXPECT_EQ(received.kind, Received::Kind::data);
    EXPECT_EQ(received.bytes, "answer");
  }
  EXPECT_EQ(board.requests(), std::vector<std::string>{"hi"});
}

TEST_F(LinkTest, ABoardIsFoundByNameToo) {
  if (gethostbyname("localhost") == nullptr) GTEST_SKIP() << "a bare machine knows no name, not even its own";
  FakeBoard board({{sends("x")}});
  TcpLink link({"localhost", board.port()}, kLongTime, interrupt_);
  EXPECT_EQ(link.receive(kLongTime).bytes, "x");
}

TEST_F(LinkTest, ABoardThatClosesIsNoticedBehindItsLastBytes) {
  FakeBoard board({{sends("last words")}});
  TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
  std::string bytes;
  const Received end = receive_all(link, bytes);
  EXPECT_EQ(bytes, "last words");
  EXPECT_EQ(end.kind, Received::Kind::closed);
  EXPECT_EQ(end.bytes, "the board closed the connection");
}

TEST_F(LinkTest, ABoardThatResetsTheConnectionIsNoticed) {
  FakeBoard board({{hears(), resets()}});
  TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
  link.send(std::string("\x01\0\0\0x", 5));
  const Received end = link.receive(kLongTime);
  EXPECT_EQ(end.kind, Received::Kind::closed);
  EXPECT_EQ(end.bytes, "the connection broke: Connection reset by peer");
}

TEST_F(LinkTest, SendingToABoardThatIsGoneFailsWithoutEndingTheProcess) {
  FakeBoard board({{hears(), resets()}});
  TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
  link.send(std::string("\x01\0\0\0x", 5));
  EXPECT_EQ(link.receive(kLongTime).kind, Received::Kind::closed);
  EXPECT_THROW(link.send("more"), LinkError);
}

TEST_F(LinkTest, ASilentBoardGivesNothingWhenNobodyWaits) {
  FakeBoard board({{awaits_close()}});
  TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
  EXPECT_EQ(link.receive(0).kind, Received::Kind::nothing);
}

TEST_F(LinkTest, NobodyListeningIsSaidWithTheAddress) {
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
}

TEST_F(LinkTest, ANameThatNobodyKnowsMayBeKnownLater) {
  EXPECT_THROW(TcpLink({"256.256.256.256.", "1"}, kLongTime, interrupt_), NotThereYet);
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

TEST_F(LinkTest, AnInterruptedStationMakesNoConnection) {
  interrupt_.raise();
  EXPECT_THROW(TcpLink({"127.0.0.1", "1"}, kLongTime, interrupt_), LinkError);
}

TEST_F(LinkTest, TheOperatorEndsAWaitAtOnce) {
  FakeBoard board({{hears(), does([this] { interrupt_.raise(); }), awaits_close()}});
  TcpLink link(parse_address(board.address()), kLongTime, interrupt_);
  link.send(std::string("\x01\0\0\0x", 5));
  EXPECT_EQ(link.receive(kLongTime).kind, Received::Kind::interrupted);
  EXPECT_EQ(link.receive(kLongTime).kind, Received::Kind::interrupted) << "and every later one";
}

}  // namespace
