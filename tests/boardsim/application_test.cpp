// The camera's main application on port 7001, as a program of the board meets it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <sstream>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using boardsim::Pace;
using boardsim::Time;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;
using Commands = std::vector<boardsim::Application::Command>;

int connect_to_application(int fd) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(7001);
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
  EXPECT_EQ(board->application.commands(), (Commands{{12, 0x31248, 1}}));
  Lines lines;
  for (const boardsim::Call& call : board.trace()) lines.push_back(call.text());
  EXPECT_EQ(lines,
            (Lines{"socket = ok", "connect 127.0.0.1:7001 = 0", "send application 12 = 12",
                   "recv application 4096 = 516", "recv application 4096 = 0", "close application = 0"}));
  EXPECT_EQ(board.hardware_trace(), Lines{}) << "no hardware";
}

TEST(ApplicationTest, ACommandThatItDoesNotKnowIsAViolationAndNotAnswered) {
  for (const std::uint32_t code : {0U, 38U, 41U, 0x22U, 0x24U, 0x31247U, 0x31249U, 0x1333D0CU, 0xFFFFFFFFU}) {
    Board board;
    const int fd = open_connection();
    testing::internal::CaptureStderr();
    send_command(fd, code, 0);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(receive_all(fd), "") << code;
    EXPECT_EQ(board.now(), 0s) << "it closes at once";
    close(fd);
    std::ostringstream text;
    text << "the application has no command " << std::hex << std::showbase << code << " (send)";
    EXPECT_EQ(board.violations(), Lines{text.str()});
    EXPECT_EQ(said, "boardsim: " + text.str() + "\n");
    EXPECT_EQ(board->application.commands(), (Commands{{12, code, 0}})) << "it read it";
    board.clear_violations();
  }
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
  EXPECT_TRUE(board->application.commands().empty());
  close(fd);
  const int other = open_connection();
  send_command(other, 39, 1);
  shutdown(other, SHUT_WR);
  EXPECT_EQ(receive_all(other).size(), 516U) << "one that only stopped sending is answered";
  close(other);
}

TEST(ApplicationTest, CommandsInPiecesAndInAFloodAreTaken) {
  Board board;
  board->application.set_answer(1, {}, false);
  const int fd = open_connection();
  std::string bytes = command_bytes(12, 1, 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_TRUE(board->application.commands().empty()) << i;
    send_all(fd, bytes.substr(i, 1));
  }
  EXPECT_EQ(board->application.commands(), (Commands{{12, 1, 2}}));
  for (int i = 1; i < 100'000; ++i) bytes += command_bytes(12, 1, 2);
  send_all(fd, bytes);
  EXPECT_EQ(board->application.commands().size(), 100'001U);
  close(fd);
}

TEST(ApplicationTest, AProgramMayNeverReadOrCloseBeforeTheReply) {
  Board board;
  board->application.set_answer(40, {{10ms, std::string(3'000'000, 'x')}});
  const int fd = open_connection();
  const int next = open_connection();
  EXPECT_EQ(next, fd + 1) << "numbers are as on the board";
  send_command(fd, 40, 0);
  usleep(1000000);
  send_command(next, 39, 1);
  close(next);
  usleep(1000000);
  EXPECT_EQ(board->application.commands().size(), 2U);
  EXPECT_EQ(open_connection(), next) << "the number is free again";
  close(next);
  close(fd);
}

TEST(ApplicationTest, ALongReplyArrivesWholeAndAReadOfAllWaitsForAllOfIt) {
  Board board;
  std::string bytes(3'000'000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i % 251);
  board->application.set_answer(40, {{10ms, bytes}, {10ms, bytes}});
  const int fd = open_connection();
  send_command(fd, 40, 0);
  std::string buffer(6'000'000, '\0');
  EXPECT_EQ(recv(fd, buffer.data(), buffer.size(), MSG_WAITALL), 6'000'000);
  EXPECT_TRUE(buffer == bytes + bytes);
  EXPECT_EQ(board.now(), 20ms);
  close(fd);
}

TEST(ApplicationTest, AScriptSaysWhatItAnswersAndWhen) {
  Board board;
  board->application.set_answer(40, {{100ms, "one"}, {2s, "two"}});
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
  board->application.set_answer(40, {{1s, "still here"}}, false);
  const int fd = open_connection();
  send_command(fd, 40, 0);
  EXPECT_EQ(receive(fd), "still here");
  EXPECT_EQ(receive(fd, MSG_DONTWAIT), std::nullopt);
  EXPECT_EQ(errno, EAGAIN);
  send_command(fd, 40, 1);
  EXPECT_EQ(receive(fd), "still here");
  EXPECT_EQ(board.now(), 2s);
  EXPECT_EQ(board->application.commands(), (Commands{{12, 40, 0}, {12, 40, 1}}));
  close(fd);
}

TEST(ApplicationTest, TwoConnectionsAtOnceAreAnsweredEach) {
  Board board;
  board->application.set_answer(1, {{2s, "later"}});
  board->application.set_answer(2, {{1s, "sooner"}});
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

TEST(ApplicationTest, FaultsDoNotHideACommandThatItDoesNotKnow) {
  for (const char* fault : {"app silent", "app slow 5", "app short", "app closes"}) {
    Board board;
    board.fault(fault);
    const int fd = open_connection();
    testing::internal::CaptureStderr();
    send_command(fd, 41, 0);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(receive_all(fd), "") << fault;
    EXPECT_EQ(board.violations().size(), 1U) << fault;
    board.clear_violations();
    close(fd);
  }
}

}  // namespace
