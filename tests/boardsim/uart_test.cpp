// The board's serial ports /dev/uart1 to /dev/uart5.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>

#include "boardsim/board.h"

namespace {

using boardsim::Board;
using namespace std::chrono_literals;

constexpr unsigned long kConfigure = 0x40045501;
constexpr unsigned long kWaiting = 0x80045502;

std::uint32_t waiting(int fd) {
  std::uint32_t count = 99;
  EXPECT_EQ(ioctl(fd, kWaiting, &count), 0);
  return count;
}

/// One read of at most `size` bytes; "failed" when it fails.
std::string read_some(int fd, std::size_t size = 100) {
  std::string buffer(size, '\0');
  const ssize_t got = read(fd, buffer.data(), size);
  return got < 0 ? "failed" : buffer.substr(0, static_cast<std::size_t>(got));
}

/// poll's answer for one descriptor at once.
int ready_events(int fd) {
  pollfd entry{fd, POLLIN | POLLOUT, 0};
  poll(&entry, 1, 0);
  return entry.revents;
}

int select_readable(int fd, timeval limit) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(fd, &set);
  return select(fd + 1, &set, nullptr, nullptr, &limit);
}

class UartTest : public testing::Test {
 protected:
  ~UartTest() override { close(fd_); }

  Board board_;
  int fd_ = open("/dev/uart1", O_RDWR);
};

TEST_F(UartTest, AConfigurationIsTakenAsItIsGiven) {
  EXPECT_EQ(board_->uart(1).setup(), boardsim::UartSetup{});
  std::array<std::int32_t, 5> record{9600, 8, 1, -1, 7};
  EXPECT_EQ(ioctl(fd_, kConfigure, record.data()), 0);
  EXPECT_EQ(board_->uart(1).setup(), (boardsim::UartSetup{9600, 8, 1, -1, 7}));
  EXPECT_EQ(board_->uart(2).setup(), boardsim::UartSetup{}) << "every port has its own";
  EXPECT_THROW(board_->uart(0).setup(), std::out_of_range);
  EXPECT_THROW(board_->uart(6).setup(), std::out_of_range);
}

TEST_F(UartTest, SelectFollowsTheBytesInVirtualTime) {
  EXPECT_EQ(select_readable(fd_, {2, 0}), 0);
  EXPECT_EQ(board_.now(), 2s);
  board_.at(3s, [&] { board_->uart(1).receive("ab"); });
  EXPECT_EQ(select_readable(fd_, {2, 0}), 1);
  EXPECT_EQ(board_.now(), 3s);
  EXPECT_EQ(select_readable(fd_, {2, 0}), 1) << "nothing was read";
  read_some(fd_, 1);
  EXPECT_EQ(select_readable(fd_, {2, 0}), 1) << "one byte is left";
  read_some(fd_, 1);
  EXPECT_EQ(select_readable(fd_, {2, 0}), 0);
  EXPECT_EQ(board_.now(), 5s);
}

TEST_F(UartTest, WhatArrivesWaitsToBeReadUpToTheEndOfTheBuffer) {
  EXPECT_EQ(waiting(fd_), 0U);
  board_->uart(1).receive("abc");
  board_->uart(1).receive(std::string_view("d\0e", 3));
  EXPECT_EQ(waiting(fd_), 6U);
  EXPECT_EQ(read_some(fd_, 2), "ab");
  EXPECT_EQ(waiting(fd_), 4U);
  EXPECT_EQ(read_some(fd_), std::string("cd\0e", 4));
  board_->uart(1).receive(std::string(4000, 'a'));
  board_->uart(1).receive(std::string(4000, 'b'));
  EXPECT_EQ(waiting(fd_), 4096U);
  EXPECT_EQ(read_some(fd_, 8000), std::string(4000, 'a') + std::string(96, 'b'));
}

TEST_F(UartTest, AReadWaitsForItsFirstByteUnlessItMustNotOrAsksForNone) {
  const int other = open("/dev/uart1", O_RDWR | O_NONBLOCK);
  EXPECT_EQ(read_some(other), "failed");
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(read_some(fd_, 0), "");
  EXPECT_EQ(write(fd_, "", 0), 0);
  EXPECT_EQ(board_->uart(1).sent(), "");
  EXPECT_EQ(board_.now(), 0s);
  board_.at(7s, [&] { board_->uart(1).receive("late"); });
  EXPECT_EQ(read_some(fd_), "late");
  EXPECT_EQ(board_.now(), 7s);
  EXPECT_EQ(board_.timed_hardware_trace().back(), "0.000000 read /dev/uart1 100 = 4");
  close(other);
}

TEST_F(UartTest, EveryOpeningSeesTheSameBytesAndCanBeWritten) {
  const int other = open("/dev/uart1", O_RDWR);
  EXPECT_EQ(ready_events(fd_), POLLOUT);
  board_->uart(1).receive("abcd");
  EXPECT_EQ(ready_events(other), POLLIN | POLLOUT);
  EXPECT_EQ(read_some(fd_, 2), "ab");
  EXPECT_EQ(read_some(other, 2), "cd");
  EXPECT_EQ(ready_events(fd_), POLLOUT);
  close(other);
}

TEST_F(UartTest, BytesBeforeTheFirstOpeningAreLostAndThoseBehindItAreKept) {
  board_->uart(1).receive("ab");
  close(fd_);
  board_->uart(1).receive("cd");
  fd_ = open("/dev/uart1", O_RDWR);
  EXPECT_EQ(ready_events(fd_) & POLLIN, POLLIN);
  EXPECT_EQ(read_some(fd_), "abcd");
  board_->uart(2).receive("lost");
  const int fd = open("/dev/uart2", O_RDWR);
  EXPECT_EQ(waiting(fd), 0U);
  EXPECT_EQ(ready_events(fd) & POLLIN, 0);
  close(fd);
}

TEST_F(UartTest, AnAddressThatIsNoneIsRefused) {
  char* const nowhere = nullptr;
  board_->uart(1).receive("ab");
  EXPECT_EQ(read(fd_, nowhere, std::size_t{waiting(fd_)}), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(write(fd_, nowhere, std::size_t{waiting(fd_)}), -1);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(read_some(fd_), "ab");
}

}  // namespace
