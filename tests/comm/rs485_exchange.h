// What the tests of one step between two RS485 ports share: two open ports and two guarded buffers.
#pragma once

#include <gtest/gtest.h>
#include <sys/select.h>
#include <algorithm>
#include <optional>
#include <string>

#include "t1_sdk/boardtest/comm/rs485/exchange.h"
#include "tests/comm/rs485_run.h"
#include "tests/platform/guarded_bytes.h"
#include "tests/platform/open_node.h"

class Rs485Exchange : public Rs485Run {
 protected:
  void TearDown() override {
    port_2.reset();
    port_1.reset();
    Rs485Run::TearDown();
  }

  fd_set only(int fd) const {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    return set;
  }
  /// Sends `frame` from port 1 and receives on port 2, into a buffer of 128 bytes that nobody may leave.
  int exchange(const std::string& frame = rs485::kFrameA) {
    std::copy(frame.begin(), frame.end(), to_send.data());
    const int result =
        rs485_process(static_cast<int>(frame.size()), "/dev/uart1", "/dev/uart2", received.data(),
                      to_send.data(), port_1->fd(), only(port_1->fd()), port_2->fd(), only(port_2->fd()));
    check_buffers();
    return result;
  }
  /// The single-port form, on port 1.
  int exchange_on_one_port(const std::string& frame = rs485::kFrameA) {
    std::copy(frame.begin(), frame.end(), to_send.data());
    const int fd = port_1->fd();
    const int result = rs485_process_rkd037(static_cast<int>(frame.size()), "/dev/uart1", "/dev/uart1",
                                            received.data(), to_send.data(), fd, only(fd), fd, only(fd));
    check_buffers();
    return result;
  }
  void check_buffers() {
    EXPECT_TRUE(received.front_is_intact());
    EXPECT_TRUE(to_send.front_is_intact());
  }
  /// The exchange when this arrives on port 2 a moment after the frame was sent.
  int hearing(const std::string& bytes, const std::string& frame = rs485::kFrameA) {
    arrive(now() + std::chrono::milliseconds(10), 2, bytes);
    return exchange(frame);
  }
  int hearing_on_one_port(const std::string& bytes, const std::string& frame = rs485::kFrameA) {
    arrive(now() + std::chrono::milliseconds(10), 1, bytes);
    return exchange_on_one_port(frame);
  }
  std::chrono::milliseconds now() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(board.now());
  }
  static std::string sending(const std::string& frame, const std::string& to = "/dev/uart2") {
    return "</dev/uart1>开始发送数据:" + rs485::printed(frame) + "\n</dev/uart1>发送完毕\n<" + to +
           ">开始接收数据\n";
  }
  static std::string heard(const std::string& bytes, const std::string& on = "/dev/uart2") {
    return "<" + on + ">完成接收数据:" + rs485::printed(bytes) + "\n";
  }
  std::size_t looks(const std::string& port) const {
    return static_cast<std::size_t>(std::ranges::count_if(board.trace(), [&](const boardsim::Call& call) {
      return call.request == 0x80045502 && call.node == port;
    }));
  }

  std::optional<OpenNode> port_1{std::in_place, board, "/dev/uart1"};
  std::optional<OpenNode> port_2{std::in_place, board, "/dev/uart2"};
  GuardedBytes received{128};
  GuardedBytes to_send{128};
};
