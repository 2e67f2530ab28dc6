// What can go wrong between a program and the camera's main application.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>

#include "boardsim/board.h"
#include "tests/boardsim/application_client.h"

namespace {

using boardsim::Board;
using namespace std::chrono_literals;
using namespace application_client;

TEST(ApplicationFaultsTest, NobodyListensWhereItIsRefused) {
  Board board;
  board.fault("app refused");
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(connect_to_application(fd), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  board.clear_faults();
  EXPECT_EQ(connect_to_application(fd), 0);
  close(fd);
}

TEST(ApplicationFaultsTest, ConnectingCanFailLikeAnyConnect) {
  Board board;
  board.fault("connect #1 ECONNREFUSED");
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(connect_to_application(fd), -1);
  EXPECT_EQ(errno, ECONNREFUSED);
  EXPECT_EQ(connect_to_application(fd), 0);
  close(fd);
  EXPECT_EQ(board.trace()[1].text(), "connect 127.0.0.1:7001 = -1 ECONNREFUSED");
}

TEST(ApplicationFaultsTest, SendAndRecvFaultsBefallItsConnectionsToo) {
  Board board;
  board.fault("send #1 EPIPE");
  board.fault("recv #1 ECONNRESET");
  board.fault("recv #2 short 5");
  const int fd = open_connection();
  const std::string bytes = command_bytes(12, 40, 0);
  EXPECT_EQ(send(fd, bytes.data(), bytes.size(), 0), -1);
  EXPECT_EQ(errno, EPIPE);
  EXPECT_TRUE(board->application.commands().empty());
  send_all(fd, bytes);
  EXPECT_EQ(receive(fd), std::nullopt);
  EXPECT_EQ(errno, ECONNRESET);
  EXPECT_EQ(receive(fd)->size(), 5U);
  close(fd);
}

TEST(ApplicationFaultsTest, ASilentOneReadsAndSaysNoMore) {
  Board board;
  board.fault("app silent");
  const int fd = open_connection();
  timeval limit{3600, 0};
  ASSERT_EQ(setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit), 0);
  send_command(fd, 40, 0);
  EXPECT_EQ(receive(fd), std::nullopt);
  EXPECT_EQ(board.now(), 1h);
  EXPECT_EQ(board->application.commands().size(), 1U);
  close(fd);
}

TEST(ApplicationFaultsTest, ASlowOneRepliesLater) {
  Board board;
  board.fault("app slow 60");
  const int fd = open_connection();
  send_command(fd, 40, 0);
  EXPECT_EQ(receive_all(fd).size(), 516U);
  EXPECT_EQ(board.now(), 60s + 20ms);
  close(fd);
}

TEST(ApplicationFaultsTest, AShortReplyEndsAfterEightBytes) {
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

TEST(ApplicationFaultsTest, OneThatClosesDoesNotReply) {
  Board board;
  board.fault("app closes");
  const int fd = open_connection();
  send_command(fd, 40, 0);
  EXPECT_EQ(receive_all(fd), "");
  EXPECT_EQ(board.now(), 20ms);
  EXPECT_EQ(board->application.commands().size(), 1U);
  close(fd);
}

TEST(ApplicationFaultsTest, AFaultThatItDoesNotKnowIsRefused) {
  Board board;
  for (const char* text : {"app", "app sleepy", "app slow", "app slow soon", "app refused twice"}) {
    EXPECT_THROW(board.fault(text), std::invalid_argument) << text;
  }
}

TEST(ApplicationFaultsTest, FaultsDoNotHideACommandThatItDoesNotKnow) {
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
