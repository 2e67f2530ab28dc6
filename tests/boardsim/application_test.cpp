// The camera's main application on port 7001, as a program of the board meets it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <stdexcept>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using boardsim::Pace;
using boardsim::Time;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;
using Commands = std::vector<Board::AppCommand>;

constexpr std::uint16_t kPort = 7001;

int connect_to_application(int fd) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(kPort);
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return connect(fd, reinterpret_cast<const sockaddr*>(&place), sizeof place);
}

/// A program's connection, 127.0.0.1 port 7001.
int open_connection() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(connect_to_application(fd), 0);
  return fd;
}

/// Three big-endian words.
std::string command_bytes(std::uint32_t length, std::uint32_t code, std::uint32_t value) {
  std::string bytes;
  for (const std::uint32_t word : {length, code, value}) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(word >> shift & 0xFF);
  }
  return bytes;
}

void send_all(int fd, std::string_view bytes) {
  ASSERT_EQ(send(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
}

void send_command(int fd, std::uint32_t code, std::uint32_t value) {
  send_all(fd, command_bytes(12, code, value));
}

/// One recv of at most 4096 bytes: what it got; nothing when it failed.
std::optional<std::string> receive(int fd, int flags = 0) {
  std::array<char, 4096> buffer{};
  const ssize_t size = recv(fd, buffer.data(), buffer.size(), flags);
  if (size < 0) return std::nullopt;
  return std::string(buffer.data(), static_cast<std::size_t>(size));
}

std::string receive_all(int fd) {
  std::string all;
  for (;;) {
    const auto part = receive(fd);
    if (!part || part->empty()) return all;
    all += *part;
  }
}

/// A little-endian word of a reply.
std::uint32_t word(const std::string& reply, std::size_t index) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value |= std::uint32_t{static_cast<unsigned char>(reply.at(4 * index + i))} << (8 * i);
  }
  return value;
}

TEST(ApplicationTest, AHealthyOneRepliesAfter20MillisecondsAndCloses) {
  const Board board;
  const int fd = open_connection();
  send_command(fd, 0x31248, 1);
  const auto reply = receive(fd);
  ASSERT_TRUE(reply);
  ASSERT_EQ(reply->size(), 516U);
  EXPECT_EQ(board.now(), 20ms);
  EXPECT_EQ(word(*reply, 0), 0x31248U);
  EXPECT_EQ(word(*reply, 1), 1U) << "the value that it was given";
  for (std::size_t i = 2; i < 129; ++i) EXPECT_EQ(word(*reply, i), 0U) << i;
  EXPECT_EQ(receive(fd), "");
  EXPECT_EQ(board.now(), 20ms);
  close(fd);
  EXPECT_EQ(board.app_commands(), (Commands{{12, 0x31248, 1}}));
}

TEST(ApplicationTest, TheMotorCheckIsAnsweredWithAReadyMotor) {
  const Board board;
  const int fd = open_connection();
  send_command(fd, 0x23, 0);
  const std::string reply = receive_all(fd);
  ASSERT_EQ(reply.size(), 516U);
  EXPECT_EQ(word(reply, 0), 0x23U);
  EXPECT_EQ(word(reply, 1), 1U);
  EXPECT_EQ(word(reply, 2), 3U);
  close(fd);
}

TEST(ApplicationTest, TheTraceNamesIt) {
  const Board board;
  const int fd = open_connection();
  send_command(fd, 40, 0);
  receive(fd);
  close(fd);
  Lines lines;
  for (const boardsim::Call& call : board.trace()) lines.push_back(call.text());
  EXPECT_EQ(lines, (Lines{"socket = ok", "connect 127.0.0.1:7001 = 0", "send application 12 = 12",
                          "recv application 4096 = 516", "close application = 0"}));
  EXPECT_EQ(board.hardware_trace(), Lines{}) << "no hardware";
}

TEST(ApplicationTest, ItIsNoPortOfThePc) {
  const Board board;
  const int fd = open_connection();
  int domain = 0;
  socklen_t size = sizeof domain;
  ASSERT_EQ(getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size), 0);
  EXPECT_EQ(domain, AF_UNIX);
  close(fd);
}

TEST(ApplicationTest, ACommandInPiecesIsPutTogether) {
  const Board board;
  const int fd = open_connection();
  const std::string bytes = command_bytes(12, 39, 1);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_TRUE(board.app_commands().empty()) << i;
    send_all(fd, bytes.substr(i, 1));
  }
  EXPECT_EQ(board.app_commands(), (Commands{{12, 39, 1}}));
  EXPECT_EQ(receive_all(fd).size(), 516U);
  close(fd);
}

TEST(ApplicationTest, APartOfACommandIsNotAnswered) {
  Board board;
  const int fd = open_connection();
  send_all(fd, command_bytes(12, 39, 1).substr(0, 11));
  timeval limit{5, 0};
  ASSERT_EQ(setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
  EXPECT_EQ(receive(fd), std::nullopt);
  EXPECT_EQ(board.now(), 5s);
  shutdown(fd, SHUT_WR);
  EXPECT_EQ(receive(fd), "") << "it closes on a program that will never complete its command";
  EXPECT_TRUE(board.app_commands().empty());
  close(fd);
}

TEST(ApplicationTest, AProgramThatOnlyStoppedSendingIsStillAnswered) {
  const Board board;
  const int fd = open_connection();
  send_command(fd, 39, 1);
  shutdown(fd, SHUT_WR);
  EXPECT_EQ(receive_all(fd).size(), 516U);
  close(fd);
}

TEST(ApplicationTest, AProgramMayCloseBeforeTheReply) {
  Board board;
  const int fd = open_connection();
  send_command(fd, 39, 1);
  close(fd);
  usleep(1000000);
  EXPECT_EQ(board.app_commands().size(), 1U);
  const int next = open_connection();
  EXPECT_EQ(next, fd) << "the number is free again";
  close(next);
}

TEST(ApplicationTest, AProgramMayNeverRead) {
  Board board;
  board.set_app_answer(40, {{10ms, std::string(3'000'000, 'x')}});
  const int fd = open_connection();
  send_command(fd, 40, 0);
  usleep(1000000);
  close(fd);
  EXPECT_EQ(board.app_commands().size(), 1U);
}

TEST(ApplicationTest, ALongReplyArrivesWhole) {
  Board board;
  std::string bytes(3'000'000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i % 251);
  board.set_app_answer(40, {{10ms, bytes}});
  const int fd = open_connection();
  send_command(fd, 40, 0);
  EXPECT_TRUE(receive_all(fd) == bytes);
  EXPECT_EQ(board.now(), 10ms);
  close(fd);
}

TEST(ApplicationTest, AReadOfAllWaitsForAll) {
  Board board;
  std::string bytes(1'000'000, 'x');
  board.set_app_answer(40, {{10ms, bytes}, {10ms, bytes}});
  const int fd = open_connection();
  send_command(fd, 40, 0);
  std::string buffer(2'000'000, '\0');
  EXPECT_EQ(recv(fd, buffer.data(), buffer.size(), MSG_WAITALL), 2'000'000);
  EXPECT_EQ(board.now(), 20ms);
  close(fd);
}

TEST(ApplicationTest, AFloodOfCommandsIsTaken) {
  Board board;
  board.set_app_answer(1, {}, false);
  const int fd = open_connection();
  std::string bytes;
  for (int i = 0; i < 100'000; ++i) bytes += command_bytes(12, 1, 2);
  send_all(fd, bytes);
  EXPECT_EQ(board.app_commands().size(), 100'000U);
  close(fd);
}

TEST(ApplicationTest, AScriptSaysWhatItAnswersAndWhen) {
  Board board;
  board.set_app_answer(40, {{100ms, "one"}, {2s, "two"}});
  const int fd = open_connection();
  send_command(fd, 40, 7);
  EXPECT_EQ(receive(fd), "one");
  EXPECT_EQ(board.now(), 100ms);
  EXPECT_EQ(receive(fd), "two");
  EXPECT_EQ(board.now(), 2100ms);
  EXPECT_EQ(receive(fd), "");
  close(fd);
  const int other = open_connection();
  send_command(other, 39, 7);
  EXPECT_EQ(receive_all(other).size(), 516U) << "other commands are answered as ever";
  close(other);
}

TEST(ApplicationTest, AScriptMayLeaveTheConnectionOpenForFurtherCommands) {
  Board board;
  board.set_app_answer(40, {{1s, "still here"}}, false);
  const int fd = open_connection();
  send_command(fd, 40, 0);
  EXPECT_EQ(receive(fd), "still here");
  EXPECT_EQ(receive(fd, MSG_DONTWAIT), std::nullopt);
  EXPECT_EQ(errno, EAGAIN);
  send_command(fd, 40, 1);
  EXPECT_EQ(receive(fd), "still here");
  EXPECT_EQ(board.now(), 2s);
  EXPECT_EQ(board.app_commands(), (Commands{{12, 40, 0}, {12, 40, 1}}));
  close(fd);
}

TEST(ApplicationTest, TwoConnectionsAtOnceAreAnsweredEach) {
  Board board;
  board.set_app_answer(1, {{2s, "later"}});
  board.set_app_answer(2, {{1s, "sooner"}});
  const int one = open_connection();
  const int two = open_connection();
  send_command(one, 1, 0);
  send_command(two, 2, 0);
  fd_set both;
  FD_ZERO(&both);
  FD_SET(one, &both);
  FD_SET(two, &both);
  ASSERT_EQ(select(std::max(one, two) + 1, &both, nullptr, nullptr, nullptr), 1);
  EXPECT_TRUE(FD_ISSET(two, &both));
  EXPECT_EQ(receive_all(two), "sooner");
  EXPECT_EQ(receive_all(one), "later");
  EXPECT_EQ(board.now(), 2s);
  close(one);
  close(two);
}

TEST(ApplicationTest, OnASteppedBoardItAnswersWhenItsTimeHasCome) {
  Board board("normal", Pace::stepped);
  const int fd = open_connection();
  send_command(fd, 40, 0);
  ASSERT_TRUE(board.advance(19ms));
  EXPECT_EQ(receive(fd, MSG_DONTWAIT), std::nullopt);
  ASSERT_TRUE(board.advance(1ms));
  const auto reply = receive(fd, MSG_DONTWAIT);
  ASSERT_TRUE(reply);
  EXPECT_EQ(reply->size(), 516U);
  EXPECT_EQ(receive(fd, MSG_DONTWAIT), "");
  close(fd);
}

TEST(ApplicationTest, OnAScaledBoardItAnswersToo) {
  const Board board("normal", Pace::scaled, 1000);
  const int fd = open_connection();
  send_command(fd, 40, 0);
  EXPECT_EQ(receive_all(fd).size(), 516U);
  EXPECT_GE(board.now(), 20ms);
  close(fd);
}

TEST(ApplicationTest, ASocketKeepsItsFlagsAndTimeouts) {
  Board board;
  board.fault("app silent");
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  timeval limit{3, 0};
  ASSERT_EQ(setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
  ASSERT_EQ(connect_to_application(fd), 0);
  EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
  EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
  EXPECT_EQ(receive(fd), std::nullopt);
  EXPECT_EQ(board.now(), 0s);
  fcntl(fd, F_SETFL, O_RDWR);
  EXPECT_EQ(receive(fd), std::nullopt);
  EXPECT_EQ(board.now(), 3s);
  close(fd);
}

TEST(ApplicationTest, TheProgramsDescriptorNumbersAreAsOnTheBoard) {
  const Board board;
  const int fd = open_connection();
  const int next = open("/dev/null", O_RDONLY);
  EXPECT_EQ(next, fd + 1);
  close(next);
  close(fd);
}

TEST(ApplicationTest, OnlyAFreshTcpSocketCanBeConnected) {
  const Board board;
  const int fd = open_connection();
  EXPECT_EQ(connect_to_application(fd), -1);
  EXPECT_EQ(errno, EISCONN);
  close(fd);
  EXPECT_EQ(connect_to_application(fd), -1);
  EXPECT_EQ(errno, EBADF);
  const int file = open("/dev/null", O_RDWR);
  EXPECT_EQ(connect_to_application(file), -1);
  EXPECT_EQ(errno, ENOTSOCK);
  close(file);
  const int datagrams = socket(AF_INET, SOCK_DGRAM, 0);
  EXPECT_EQ(connect_to_application(datagrams), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  close(datagrams);
}

TEST(ApplicationTest, NobodyListensWhereItIsRefused) {
  Board board;
  board.fault("app refused");
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(connect_to_application(fd), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  board.clear_faults();
  EXPECT_EQ(connect_to_application(fd), 0);
  close(fd);
}

TEST(ApplicationTest, ConnectingCanFailLikeAnyConnect) {
  Board board;
  board.fault("connect #1 ECONNREFUSED");
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(connect_to_application(fd), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  EXPECT_EQ(connect_to_application(fd), 0);
  close(fd);
  EXPECT_EQ(board.trace()[1].text(), "connect 127.0.0.1:7001 = -1 ECONNREFUSED");
}

TEST(ApplicationTest, SendAndRecvFaultsBefallItsConnectionsToo) {
  Board board;
  board.fault("send #1 EPIPE");
  board.fault("recv #1 ECONNRESET");
  board.fault("recv #2 short 5");
  const int fd = open_connection();
  const std::string bytes = command_bytes(12, 40, 0);
  EXPECT_EQ(send(fd, bytes.data(), bytes.size(), 0), -1);
  EXPECT_EQ(errno, EPIPE);
  EXPECT_TRUE(board.app_commands().empty());
  send_all(fd, bytes);
  EXPECT_EQ(receive(fd), std::nullopt);
  EXPECT_EQ(errno, ECONNRESET);
  EXPECT_EQ(receive(fd)->size(), 5U);
  close(fd);
}

TEST(ApplicationTest, ASilentOneReadsAndSaysNoMore) {
  Board board;
  board.fault("app silent");
  const int fd = open_connection();
  timeval limit{3600, 0};
  ASSERT_EQ(setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
  send_command(fd, 40, 0);
  EXPECT_EQ(receive(fd), std::nullopt);
  EXPECT_EQ(board.now(), 1h);
  EXPECT_EQ(board.app_commands().size(), 1U);
  close(fd);
}

TEST(ApplicationTest, ASlowOneRepliesLater) {
  Board board;
  board.fault("app slow 60");
  const int fd = open_connection();
  send_command(fd, 40, 0);
  EXPECT_EQ(receive_all(fd).size(), 516U);
  EXPECT_EQ(board.now(), 60s + 20ms);
  close(fd);
}

TEST(ApplicationTest, AShortReplyEndsAfterEightBytes) {
  Board board;
  board.fault("app short");
  const int fd = open_connection();
  send_command(fd, 40, 5);
  const std::string reply = receive_all(fd);
  ASSERT_EQ(reply.size(), 8U);
  EXPECT_EQ(word(reply, 0), 40U);
  EXPECT_EQ(word(reply, 1), 5U);
  close(fd);
}

TEST(ApplicationTest, OneThatClosesDoesNotReply) {
  Board board;
  board.fault("app closes");
  const int fd = open_connection();
  send_command(fd, 40, 0);
  EXPECT_EQ(receive_all(fd), "");
  EXPECT_EQ(board.now(), 20ms);
  EXPECT_EQ(board.app_commands().size(), 1U);
  close(fd);
}

TEST(ApplicationTest, AFaultThatItDoesNotKnowIsRefused) {
  Board board;
  for (const char* text : {"app", "app sleepy", "app slow", "app slow soon", "app refused twice"}) {
    EXPECT_THROW(board.fault(text), std::invalid_argument) << text;
  }
}

}  // namespace
