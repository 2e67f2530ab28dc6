// Opening an RS485 port and emptying its receiver.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <optional>

#include "t1_sdk/boardtest/comm/rs485/ports.h"
#include "tests/comm/rs485_run.h"
#include "tests/platform/open_node.h"

namespace {

using namespace rs485;

// ---- opening a port ---------------------------------------------------------------------------------

class Rs485OpenTest : public Rs485Run {
 protected:
  ~Rs485OpenTest() override { gpiofd = -1; }
};

TEST_F(Rs485OpenTest, APortIsOpenedForReadingAndWritingAndSetTo38400Baud) {
  const int fd = rs485Open("/dev/uart3");
  EXPECT_GE(fd, 0);
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/uart3 = ok", "ioctl /dev/uart3 0x40045501 {38400, 3, 0, 0, 0} = 0"}));
  EXPECT_EQ(board.trace().at(0).record.at(0) & O_ACCMODE, static_cast<unsigned>(O_RDWR));
  EXPECT_EQ(board->uart(3).setup(), (boardsim::UartSetup{38400, 3, 0, 0, 0}));
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.open_nodes(), Lines{"/dev/uart3"});
  ::close(fd);
}

TEST_F(Rs485OpenTest, APortThatRefusesItsSetUpIsOpenAllTheSame) {
  board.fault("ioctl /dev/uart3 0x40045501");
  const int fd = rs485Open("/dev/uart3");
  EXPECT_GE(fd, 0);
  EXPECT_EQ(console.out(), "");
  ::close(fd);
}

TEST_F(Rs485OpenTest, APortThatDoesNotOpenClosesTheIoDriver) {
  gpiofd = ::open("/dev/qznio", O_RDWR);
  board.fault("open /dev/uart3");
  board.clear_trace();
  EXPECT_EQ(rs485Open("/dev/uart3"), -1);
  EXPECT_EQ(gpiofd, -1);
  EXPECT_EQ(console.out(), "<t1>打开RS485口【/dev/uart3】错误\n");
  EXPECT_EQ(board.hardware_trace(), (Lines{"open /dev/uart3 = -1 ENODEV", "close /dev/qznio = 0"}));
}

TEST_F(Rs485OpenTest, APortThatDoesNotOpenClosesNothingWhenTheIoDriverIsNotOpen) {
  gpiofd = -1;
  board.fault("open /dev/uart3 EBUSY");
  EXPECT_EQ(rs485Open("/dev/uart3"), -1);
  EXPECT_EQ(gpiofd, -1);
  EXPECT_EQ(board.open_nodes(), Lines{});
}

// ---- emptying a receiver ------------------------------------------------------------------------------

class Rs485ClearTest : public Rs485Run {
 protected:
  void TearDown() override {
    node.reset();
    Rs485Run::TearDown();
  }
  std::optional<OpenNode> node{std::in_place, board, "/dev/uart1"};
};

TEST_F(Rs485ClearTest, WhatWaitsIsThrownAway) {
  board->uart(1).receive("rubbish");
  EXPECT_EQ(clear_485recv_buf(node->fd()), 0);
  ASSERT_EQ(board.trace().size(), 1U);
  EXPECT_EQ(board.trace().at(0).request, 0x5503U);
  char byte = 0;
  board.at(1s, [this] { board->uart(1).receive("x"); });
  EXPECT_EQ(::read(node->fd(), &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(console.out(), "");
}

TEST_F(Rs485ClearTest, TheResultIsTheDrivers) {
  board.fault("ioctl /dev/uart1 0x5503 #1 result 5");
  board.fault("ioctl /dev/uart1 0x5503 #2 EBUSY");
  EXPECT_EQ(clear_485recv_buf(node->fd()), 5);
  EXPECT_EQ(clear_485recv_buf(node->fd()), -1);
  EXPECT_EQ(clear_485recv_buf(-1), -1);
  EXPECT_EQ(console.out(), "");
}

}  // namespace
