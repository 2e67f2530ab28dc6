// Blocks received on the board's serial ports.
#include <gtest/gtest.h>
#include <sys/select.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "t1_sdk/boardtest/platform/uart.h"
#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/guarded_bytes.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

constexpr std::uint32_t kCountRequest = 0x80045502;

/// The port in use is the second one opened, so that its descriptor is the higher of the two.
class UartReceiveTest : public OnBoard {
 protected:
  void TearDown() override {
    port.reset();
    other_port.reset();
    OnBoard::TearDown();
  }

  /// Receives into `buffer`, the set holding the port.
  int receive(GuardedBytes& buffer, int length, int time_out, int wait_time) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    return recvRS485Data(fd, &set, buffer.data(), length, time_out, wait_time);
  }
  /// Receives with a second's time-out; what came is in `text`.
  int receive(int length, int wait_time = 0) {
    GuardedBytes buffer(static_cast<std::size_t>(std::max(length, 0)));
    const int result = receive(buffer, length, 1, wait_time);
    text = buffer.text();
    EXPECT_TRUE(buffer.front_is_intact());
    return result;
  }
  /// How often the driver was asked for its count.
  std::size_t looks() const {
    const std::vector<boardsim::Call> trace = board.trace();
    return static_cast<std::size_t>(std::count_if(trace.begin(), trace.end(), [](const boardsim::Call& call) {
      return call.request == kCountRequest;
    }));
  }
  static std::string untouched(std::size_t size) {
    return std::string(size, static_cast<char>(GuardedBytes::kUntouched));
  }

  std::optional<OpenNode> other_port{std::in_place, board, "/dev/uart2"};
  std::optional<OpenNode> port{std::in_place, board, "/dev/uart1"};
  int fd = port->fd();
  std::string text;
  Console console;
};

TEST_F(UartReceiveTest, BytesThatWaitAreReceivedAtOnce) {
  board->uart(1).receive("hello");
  EXPECT_EQ(receive(5), 5);
  EXPECT_EQ(text, "hello");
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(looks(), 1U);
  EXPECT_EQ(board.hardware_trace().back(), "read /dev/uart1 5 = 5");
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, BytesAreReceivedAsTheyAre) {
  std::string block;
  for (int byte = 0; byte < 256; ++byte) block.push_back(static_cast<char>(byte));
  board->uart(1).receive(block);
  EXPECT_EQ(receive(256), 256);
  EXPECT_EQ(text, block);
}

TEST_F(UartReceiveTest, BytesBehindTheBlockAreLeftForTheNextOne) {
  board->uart(1).receive("firstsecond");
  EXPECT_EQ(receive(5), 5);
  EXPECT_EQ(text, "first");
  EXPECT_EQ(receive(6), 6);
  EXPECT_EQ(text, "second");
}

// ---- waiting for the first byte ------------------------------------------------------------------

TEST_F(UartReceiveTest, TheFirstByteMayTakeAlmostTheWholeTimeOut) {
  board.at(2900ms, [this] { board->uart(1).receive("hello"); });
  GuardedBytes buffer(5);
  EXPECT_EQ(receive(buffer, 5, 3, 0), 5);
  EXPECT_EQ(buffer.text(), "hello");
  EXPECT_EQ(board.now(), 2900ms);
}

TEST_F(UartReceiveTest, ABlockThatComesAfterTheTimeOutIsNotReceived) {
  board.at(3100ms, [this] { board->uart(1).receive("hello"); });
  GuardedBytes buffer(5);
  EXPECT_EQ(receive(buffer, 5, 3, 0), 0);
  EXPECT_EQ(buffer.text(), untouched(5));
  EXPECT_EQ(board.now(), 3s);
}

TEST_F(UartReceiveTest, SilenceEndsWithTheTimeOutAndWithoutALook) {
  EXPECT_EQ(receive(5, 100), 0);
  EXPECT_EQ(board.now(), 1s);
  EXPECT_EQ(looks(), 0U);
  EXPECT_EQ(text, untouched(5));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, ATimeOutOf0LooksOnceAndGoes) {
  GuardedBytes buffer(5);
  EXPECT_EQ(receive(buffer, 5, 0, 100), 0);
  EXPECT_EQ(board.now(), 0s);
  board->uart(1).receive("hello");
  EXPECT_EQ(receive(buffer, 5, 0, 0), 5);
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(UartReceiveTest, TheTimeOutIsInWholeSeconds) {
  GuardedBytes buffer(5);
  receive(buffer, 5, 7, 0);
  const std::vector<boardsim::Call> trace = board.trace();
  const auto wait =
      std::find_if(trace.begin(), trace.end(), [](const auto& call) { return call.name == "select"; });
  ASSERT_NE(wait, trace.end());
  EXPECT_EQ(wait->record, (std::vector<std::uint32_t>{7, 0}));
  EXPECT_EQ(calls("select"), 1U);
  EXPECT_EQ(board.now(), 7s);
}

TEST_F(UartReceiveTest, APortThatHearsNothingRunsIntoTheTimeOut) {
  board.fault("uart 1 dead");
  board->uart(1).receive("hello");
  EXPECT_EQ(receive(5), 0);
  EXPECT_EQ(board.now(), 1s);
}

TEST_F(UartReceiveTest, AFailedWaitIsReported) {
  board->uart(1).receive("hello");
  board.fault("select EBADF");
  EXPECT_EQ(receive(5), -1);
  EXPECT_EQ(console.out(), "<t1>: select error retRd = -1\n");
  EXPECT_EQ(text, untouched(5));
  EXPECT_EQ(looks(), 0U);
  EXPECT_EQ(calls("select"), 1U);
}

TEST_F(UartReceiveTest, AnotherPortsBytesAreNotThisPorts) {
  board->uart(2).receive("hello");
  fd_set set;
  FD_ZERO(&set);
  FD_SET(other_port->fd(), &set);
  FD_SET(fd, &set);
  GuardedBytes buffer(5);
  EXPECT_EQ(recvRS485Data(fd, &set, buffer.data(), 5, 1, 100), 0);
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(looks(), 0U);
  EXPECT_EQ(buffer.text(), untouched(5));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, APortThatIsNotInTheSetIsNotWaitedFor) {
  board->uart(1).receive("hello");
  fd_set set;
  FD_ZERO(&set);
  GuardedBytes buffer(5);
  EXPECT_EQ(recvRS485Data(fd, &set, buffer.data(), 5, 2, 0), 0);
  EXPECT_EQ(board.now(), 2s);
  EXPECT_EQ(looks(), 0U);
}

// ---- passes over the driver's count ----------------------------------------------------------------

TEST_F(UartReceiveTest, TheNumberOfPassesIsATenthOfTheWaitAndOne) {
  const std::pair<int, std::size_t> expected[] = {{0, 1},  {1, 1},   {9, 1},    {10, 2},    {19, 2},
                                                  {20, 3}, {99, 10}, {100, 11}, {1000, 101}};
  for (const auto& [wait_time, passes] : expected) {
    SCOPED_TRACE(wait_time);
    board->uart(1).receive("abc");
    board.clear_trace();
    EXPECT_EQ(receive(5, wait_time), 3);
    EXPECT_EQ(looks(), passes);
  }
}

TEST_F(UartReceiveTest, AWaitTimeOf9MakesOnePass) {
  board->uart(1).receive("abc");
  receive(5, 9);
  EXPECT_EQ(looks(), 1U);
}

TEST_F(UartReceiveTest, AWaitTimeOf10MakesTwoPasses) {
  board->uart(1).receive("abc");
  receive(5, 10);
  EXPECT_EQ(looks(), 2U);
}

TEST_F(UartReceiveTest, AWaitTimeJustBelow0MakesOnePass) {
  board->uart(1).receive("abc");
  EXPECT_EQ(receive(5, -9), 3);
  EXPECT_EQ(looks(), 1U);
}

TEST_F(UartReceiveTest, FewerBytesThanAskedForAreReceivedAfterAllPasses) {
  board->uart(1).receive("abc");
  EXPECT_EQ(receive(5, 50), 3);
  EXPECT_EQ(looks(), 6U);
  EXPECT_EQ(text, "abc" + untouched(2));
  EXPECT_EQ(board.hardware_trace().back(), "read /dev/uart1 3 = 3");
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, PassesTakeNoTime) {
  board->uart(1).receive("abc");
  receive(5, 1000);
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(calls("usleep") + calls("sleep"), 0U);
}

TEST_F(UartReceiveTest, TheRestOfABlockThatComesAMomentLaterIsNotWaitedFor) {
  board->uart(1).receive("abc");
  board.at(1ms, [this] { board->uart(1).receive("de"); });
  EXPECT_EQ(receive(5, 1000), 3);
  EXPECT_EQ(receive(2), 2);
  EXPECT_EQ(text, "de");
}

TEST_F(UartReceiveTest, APassThatFindsTheWholeBlockIsTheLast) {
  board->uart(1).receive("hello");
  board.fault("ioctl /dev/uart1 0x80045502 #1 result 0");
  EXPECT_EQ(receive(5, 100), 5);
  EXPECT_EQ(text, "hello");
  EXPECT_EQ(looks(), 2U);
}

TEST_F(UartReceiveTest, TheLastPassCanFindTheWholeBlock) {
  board->uart(1).receive("hello");
  board.fault("ioctl /dev/uart1 0x80045502 #1 result 0");
  EXPECT_EQ(receive(5, 10), 5);
  EXPECT_EQ(looks(), 2U);
}

TEST_F(UartReceiveTest, ACountThatStays0ReceivesNothing) {
  board->uart(1).receive("hello");
  board.fault("ioctl /dev/uart1 0x80045502 result 0");
  EXPECT_EQ(receive(5, 20), 0);
  EXPECT_EQ(looks(), 3U);
  EXPECT_EQ(text, untouched(5));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, ACountThatCannotBeReadReceivesNothing) {
  board->uart(1).receive("hello");
  board.fault("ioctl /dev/uart1 0x80045502");
  EXPECT_EQ(receive(5, 20), 0);
  EXPECT_EQ(looks(), 3U);
  EXPECT_EQ(text, untouched(5));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, WhatWasReportedLastIsReceivedWhenTheCountFailsLater) {
  board->uart(1).receive("abc");
  board.fault("ioctl /dev/uart1 0x80045502 #2+");
  EXPECT_EQ(receive(5, 20), 3);
  EXPECT_EQ(looks(), 3U);
  EXPECT_EQ(text, "abc" + untouched(2));
}

// ---- reading -----------------------------------------------------------------------------------------

TEST_F(UartReceiveTest, AReadThatIsCutShortReturnsWhatWasRead) {
  board->uart(1).receive("hello");
  board.fault("read /dev/uart1 short 2");
  EXPECT_EQ(receive(5), 2);
  EXPECT_EQ(text, "he" + untouched(3));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, AFailedReadIsAnErrorAndCopiesNothing) {
  board->uart(1).receive("hello");
  board.fault("read /dev/uart1");
  EXPECT_EQ(receive(5), -1);
  EXPECT_EQ(text, untouched(5));
  EXPECT_EQ(board.hardware_trace().back(), "read /dev/uart1 5 = -1 EIO");
}

TEST_F(UartReceiveTest, ALastReadThatIsCutShortReturnsWhatWasRead) {
  board->uart(1).receive("abc");
  board.fault("read /dev/uart1 short 1");
  EXPECT_EQ(receive(5, 10), 1);
  EXPECT_EQ(text, "a" + untouched(4));
}

TEST_F(UartReceiveTest, ALastReadThatFailsIsAnErrorAndCopiesNothing) {
  board->uart(1).receive("abc");
  board.fault("read /dev/uart1");
  EXPECT_EQ(receive(5, 10), -1);
  EXPECT_EQ(text, untouched(5));
}

// ---- lengths -----------------------------------------------------------------------------------------

TEST_F(UartReceiveTest, ABlockOf257BytesIsRefusedBeforeAnyWait) {
  board->uart(1).receive(std::string(257, 'x'));
  EXPECT_EQ(receive(257), -1);
  EXPECT_EQ(console.out(), "<t1>: param datalen is error!\n");
  EXPECT_EQ(text, untouched(257));
  EXPECT_EQ(calls("select"), 0U);
  EXPECT_EQ(board.hardware_trace(), Lines{});
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(UartReceiveTest, ABlockOf256BytesIsReceived) {
  board->uart(1).receive(std::string(300, 'x'));
  EXPECT_EQ(receive(256), 256);
  EXPECT_EQ(text, std::string(256, 'x'));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, ABlockOfNoBytesWaitsForOneAndLeavesIt) {
  board.at(500ms, [this] { board->uart(1).receive("x"); });
  EXPECT_EQ(receive(0, 100), 0);
  EXPECT_EQ(board.now(), 500ms);
  EXPECT_EQ(looks(), 1U);
  EXPECT_EQ(receive(1), 1);
  EXPECT_EQ(text, "x");
}

TEST_F(UartReceiveTest, ALengthBelow0CountsAs0) {
  for (const int length : {-1, -5, -257, -2147483647 - 1}) {
    SCOPED_TRACE(length);
    board->uart(1).receive("x");
    board.clear_trace();
    EXPECT_EQ(receive(length, 100), 0);
    EXPECT_EQ(looks(), 1U);
    EXPECT_EQ(receive(1), 1) << "the byte is still there";
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartReceiveTest, EveryLengthFromMinus5To2000TouchesOnlyItsOwnBuffer) {
  for (int length = -5; length <= 2000; ++length) {
    SCOPED_TRACE(length);
    const auto size = static_cast<std::size_t>(std::max(length, 0));
    board->uart(1).receive(std::string(std::max<std::size_t>(size, 1), 'b'));
    const bool fits = length <= 256;
    ASSERT_EQ(receive(length), fits ? std::max(length, 0) : -1);
    ASSERT_EQ(text, fits ? std::string(size, 'b') : untouched(size));
    // What such a call leaves behind is none of the next one's.
    char rest[2048];
    if (length <= 0 || !fits) {
      ASSERT_GT(::read(fd, rest, sizeof rest), 0);
    }
  }
}

TEST_F(UartReceiveTest, EveryLengthWithOneByteMissingTouchesOnlyItsOwnBuffer) {
  for (int length = 2; length <= 256; ++length) {
    SCOPED_TRACE(length);
    const auto size = static_cast<std::size_t>(length);
    board->uart(1).receive(std::string(size - 1, 'b'));
    ASSERT_EQ(receive(length, 10), length - 1);
    ASSERT_EQ(text, std::string(size - 1, 'b') + untouched(1));
  }
}

}  // namespace
