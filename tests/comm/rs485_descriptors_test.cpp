// RS485 ports whose descriptors have numbers that no set of descriptors can hold: ports that failed tests
// left open let the numbers grow.
#include <gtest/gtest.h>
#include <sys/select.h>
#include <unistd.h>
#include <cstring>
#include <string>

#include "t1_sdk/boardtest/comm/rs485/rs485.h"
#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "t1_sdk/boardtest/platform/uart.h"
#include "tests/comm/many_descriptors.h"
#include "tests/comm/rs485_ring.h"
#include "tests/platform/guarded_bytes.h"
#include "tests/platform/open_node.h"

namespace {

using namespace rs485;

constexpr const char* kSelectError = "<t1>: select error retRd = -1\n";

// ---- one block --------------------------------------------------------------------------------------

/// A port that is opened when `first` is the lowest number still free, and eight bytes that wait there.
class NumberedPortTest : public Rs485Run {
 protected:
  NumberedPortTest() {
    // A simulated port has descriptors of its own from the first opening on, which must not take the number.
    const OpenNode opened_once(board, "/dev/uart1");
  }
  int receive_on_port(int first, GuardedBytes& buffer) {
    const ManyDescriptors others(first);
    const OpenNode port(board, "/dev/uart1");
    EXPECT_EQ(port.fd(), first);
    board->uart(1).receive("waiting!");
    fd_set set;
    FD_ZERO(&set);
    if (port.fd() < FD_SETSIZE) FD_SET(port.fd(), &set);
    const fd_set before = set;
    const int result = recvRS485Data(port.fd(), &set, buffer.data(), 5, 1, 0);
    EXPECT_EQ(std::memcmp(&set, &before, sizeof set), 0);
    calls_ = board.trace().size();
    EXPECT_TRUE(buffer.front_is_intact());
    return result;
  }

  std::size_t calls_ = 0;
};

TEST_F(NumberedPortTest, ThePortWithTheLastNumberThatASetHoldsReceives) {
  GuardedBytes buffer(5);
  EXPECT_EQ(receive_on_port(FD_SETSIZE - 1, buffer), 5);
  EXPECT_EQ(buffer.text(), "waiti");
  EXPECT_EQ(console.out(), "");
}

TEST_F(NumberedPortTest, APortWhoseNumberNoSetCanHoldIsAnErrorAndNothingIsTouched) {
  for (const int number : {FD_SETSIZE, FD_SETSIZE + 1, 2 * FD_SETSIZE}) {
    SCOPED_TRACE(number);
    console.clear();
    GuardedBytes buffer(5);
    EXPECT_EQ(receive_on_port(number, buffer), -1);
    EXPECT_EQ(console.out(), kSelectError);
    EXPECT_EQ(buffer.text(), std::string(5, static_cast<char>(GuardedBytes::kUntouched)));
    EXPECT_EQ(calls_, 0U) << "neither waited for nor looked at";
    EXPECT_EQ(board.now(), 0s);
  }
}

TEST_F(NumberedPortTest, ANumberThatNoDescriptorHasIsAnError) {
  for (const int number : {-1, -2147483647 - 1, 2147483647}) {
    SCOPED_TRACE(number);
    console.clear();
    fd_set set;
    FD_ZERO(&set);
    GuardedBytes buffer(5);
    EXPECT_EQ(recvRS485Data(number, &set, buffer.data(), 5, 1, 0), -1);
    EXPECT_EQ(console.out(), kSelectError);
    EXPECT_EQ(calls("select"), 0U);
  }
}

// ---- whole tests -------------------------------------------------------------------------------------

class Rs485DescriptorsTest : public RingRun {
 protected:
  /// Closes the ports that were left open.
  void close_ports() {
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == "open" && call.node.starts_with("/dev/uart") && call.result >= 0) {
        ::close(static_cast<int>(call.result));
      }
    }
  }
};

TEST_F(Rs485DescriptorsTest, TwoHundredAndFiftySixFailedRunsThatLeaveTheirPortsOpenDoNotEndTheProgram) {
  const ManyDescriptors allowed(0);
  with_family("k");
  board->rs485.set_fixture("ring5");
  board.fault("open /dev/uart1");
  for (int run = 0; run < 256; ++run) {
    station.forget();
    rs485_test_Ex();
    expect_fail("<t1>打开RS485口错误.");
  }
  EXPECT_EQ(board.open_nodes().size(), 1024U);

  board.clear_faults();
  station.forget();
  console.clear();
  rs485_test_Ex();
  expect_fail("<t1>ERROR RS485_1/RS485_2测试不通过.");
  EXPECT_TRUE(console.out().ends_with(std::string(kSelectError) + "</dev/uart2>接收数据错误.\n" +
                                      "<t1>ERROR RS485_1/RS485_2测试不通过。\n" + failed(3)));
  close_ports();
  EXPECT_EQ(board.open_nodes(), Lines{});
}

TEST_F(Rs485DescriptorsTest, NoRingHearsThroughPortsWhoseNumbersNoSetCanHold) {
  const ManyDescriptors others(FD_SETSIZE);
  for (const Ring& ring : rings()) {
    SCOPED_TRACE(ring.name);
    next_board(ring.family);
    board->rs485.set_fixture(ring.fixture);
    ring.run();
    expect_fail(ring.pairs[0].described[0]);
    EXPECT_NE(console.out().find(kSelectError), std::string::npos);
    EXPECT_TRUE(console.out().ends_with(ring.pairs[0].error + "\n" + failed(3)));
    EXPECT_EQ(board->uart(1).sent(), kFrameA) << "sending needs no set";
  }
}

TEST_F(Rs485DescriptorsTest, TheEchoedPortHearsNothingThroughANumberThatNoSetCanHold) {
  const ManyDescriptors others(FD_SETSIZE);
  arrive(6s, 1, kFrameA);
  rs485_test();
  expect_fail("第一次接收错误");
  EXPECT_TRUE(console.out().ends_with(std::string(kSelectError) + "<t1>第一次接收错误\n" + failed(6)));
}

TEST_F(Rs485DescriptorsTest, PortsThatOnlySendNeedNoSet) {
  const ManyDescriptors others(FD_SETSIZE);
  for (void (*const run)() : {rs485_unit_test, rs485_test_63xx, rs485_ptz_test}) {
    next_board();
    run();
    expect_pass();
  }
}

}  // namespace
