// The board's serial ports: their configuration, and blocks sent.
#include "t1_sdk/boardtest/platform/uart.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/guarded_bytes.h"
#include "tests/platform/open_node.h"

namespace {

using Lines = std::vector<std::string>;
using UartSetup = boardsim::UartSetup;

TEST(UartRecordTest, TheConfigurationIsFiveSignedWordsOf32BitsInTheirOrder) {
  static_assert(sizeof(uart_cfg) == 20);
  static_assert(offsetof(uart_cfg, baudrate) == 0 && offsetof(uart_cfg, data) == 4);
  static_assert(offsetof(uart_cfg, stop) == 8 && offsetof(uart_cfg, parity) == 12);
  static_assert(offsetof(uart_cfg, flowcontrol) == 16);
  static_assert(std::is_signed_v<decltype(uart_cfg::baudrate)> && std::is_signed_v<decltype(uart_cfg::data)>);
  static_assert(std::is_signed_v<decltype(uart_cfg::stop)> && std::is_signed_v<decltype(uart_cfg::parity)>);
  static_assert(std::is_signed_v<decltype(uart_cfg::flowcontrol)>);
}

class UartTest : public OnBoard {
 protected:
  void TearDown() override {
    port.reset();
    OnBoard::TearDown();
  }
  int send(std::string block) {
    return SendRS485Data(fd, nullptr, reinterpret_cast<unsigned char*>(block.data()),
                         static_cast<int>(block.size()));
  }

  std::optional<OpenNode> port{std::in_place, board, "/dev/uart1"};
  int fd = port->fd();
  Console console;
};

// ---- configuration ---------------------------------------------------------------------------

TEST_F(UartTest, APortIsSetUpAsTheCallerSays) {
  EXPECT_EQ(uart_config(fd, 9600, 8, 1, 0, 0), 0);
  EXPECT_EQ(board->uart(1).setup(), (UartSetup{9600, 8, 1, 0, 0}));
  EXPECT_EQ(board.hardware_trace(), (Lines{"ioctl /dev/uart1 0x40045501 {9600, 8, 1, 0, 0} = 0"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartTest, EachValueGoesIntoItsOwnWord) {
  uart_config(fd, 1, 2, 3, 4, 5);
  EXPECT_EQ(board.trace().at(0).record, (std::vector<std::uint32_t>{1, 2, 3, 4, 5}));
}

TEST_F(UartTest, ValuesAreNeitherCheckedNorTranslated) {
  uart_config(fd, -1, 99, 0, -2147483647 - 1, 2147483647);
  ASSERT_EQ(board.trace().size(), 1U);
  EXPECT_EQ(board.trace().at(0).request, 0x40045501U);
  EXPECT_EQ(board.trace().at(0).record,
            (std::vector<std::uint32_t>{0xFFFFFFFF, 99, 0, 0x80000000, 0x7FFFFFFF}));
}

TEST_F(UartTest, EveryPortOfTheBoardHasASetUpOfItsOwn) {
  for (unsigned number = 2; number <= 5; ++number) {
    const OpenNode other(board, ("/dev/uart" + std::to_string(number)).c_str());
    const auto baudrate = static_cast<int>(1200 * number);
    EXPECT_EQ(uart_config(other.fd(), baudrate, 8, 1, 0, 0), 0);
    EXPECT_EQ(board->uart(number).setup(), (UartSetup{baudrate, 8, 1, 0, 0}));
  }
  EXPECT_EQ(board->uart(1).setup(), UartSetup{});
}

TEST_F(UartTest, ADriverThatRefusesTheSetUpIsReportedInSilence) {
  board.fault("ioctl /dev/uart1 0x40045501");
  EXPECT_EQ(uart_config(fd, 9600, 8, 1, 0, 0), -1);
  EXPECT_EQ(board.hardware_trace().size(), 1U) << "it is not tried again";
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartTest, TheResultIsTheDrivers) {
  board.fault("ioctl /dev/uart1 0x40045501 result 5");
  EXPECT_EQ(uart_config(fd, 9600, 8, 1, 0, 0), 5);
}

TEST_F(UartTest, WithoutADescriptorNothingIsSetUp) {
  EXPECT_EQ(uart_config(-1, 9600, 8, 1, 0, 0), -1);
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

// ---- sending -----------------------------------------------------------------------------------

TEST_F(UartTest, ABlockGoesOutInOneWrite) {
  EXPECT_EQ(send("hello"), 0);
  EXPECT_EQ(board->uart(1).sent(), "hello");
  EXPECT_EQ(board.hardware_trace(), (Lines{"write /dev/uart1 5 = 5"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartTest, EveryByteGoesOutAsItIs) {
  std::string block;
  for (int byte = 0; byte < 256; ++byte) block.push_back(static_cast<char>(byte));
  EXPECT_EQ(send(block), 0);
  EXPECT_EQ(board->uart(1).sent(), block);
}

TEST_F(UartTest, TheLargestBlockIs1024Bytes) {
  EXPECT_EQ(send(std::string(1024, 'x')), 0);
  EXPECT_EQ(board->uart(1).sent(), std::string(1024, 'x'));
  EXPECT_EQ(board.hardware_trace(), (Lines{"write /dev/uart1 1024 = 1024"}));
}

TEST_F(UartTest, ABlockOf1025BytesIsNotSentAtAll) {
  EXPECT_EQ(send(std::string(1025, 'x')), -1);
  EXPECT_EQ(board->uart(1).sent(), "");
  EXPECT_EQ(console.out(), "<t1>write failed have write 0\n ");
}

TEST_F(UartTest, ALengthBelow0IsNotSentAtAll) {
  unsigned char byte = 'x';
  EXPECT_EQ(SendRS485Data(fd, nullptr, &byte, -1), -1);
  EXPECT_EQ(board->uart(1).sent(), "");
  EXPECT_EQ(console.out(), "<t1>write failed have write 0\n ");
}

TEST_F(UartTest, EveryLengthFromMinus5To2000TouchesOnlyItsOwnBlock) {
  for (int length = -5; length <= 2000; ++length) {
    SCOPED_TRACE(length);
    const auto size = static_cast<std::size_t>(std::max(length, 0));
    GuardedBytes block(size, 'b');
    const std::size_t sent = board->uart(1).sent().size();
    console.clear();
    const bool fits = length >= 0 && length <= 1024;
    ASSERT_EQ(SendRS485Data(fd, nullptr, block.data(), length), fits ? 0 : -1);
    ASSERT_EQ(board->uart(1).sent().size() - sent, fits ? size : 0U);
    ASSERT_EQ(console.out(), fits ? "" : "<t1>write failed have write 0\n ");
    ASSERT_EQ(block.text(), std::string(size, 'b'));
    ASSERT_TRUE(block.front_is_intact());
  }
}

TEST_F(UartTest, ABlockThatIsCutShortIsReportedWithWhatWasWritten) {
  board.fault("write /dev/uart1 short 3");
  EXPECT_EQ(send("hello"), -1);
  EXPECT_EQ(console.out(), "<t1>write failed have write 3\n ");
  EXPECT_EQ(board->uart(1).sent(), "hel") << "the rest is not sent after it";
  EXPECT_EQ(board.hardware_trace().size(), 1U);
}

TEST_F(UartTest, ABlockOfWhichNothingIsTakenIsReportedWith0) {
  board.fault("write /dev/uart1 result 0");
  EXPECT_EQ(send("hello"), -1);
  EXPECT_EQ(console.out(), "<t1>write failed have write 0\n ");
}

TEST_F(UartTest, AFailedWriteIsReportedWithMinus1) {
  board.fault("write /dev/uart1 EIO");
  EXPECT_EQ(send("hello"), -1);
  EXPECT_EQ(console.out(), "<t1>write failed have write -1\n ");
  EXPECT_EQ(board.hardware_trace(), (Lines{"write /dev/uart1 5 = -1 EIO"}));
}

TEST_F(UartTest, WithoutADescriptorNothingIsSent) {
  unsigned char byte = 'x';
  EXPECT_EQ(SendRS485Data(-1, nullptr, &byte, 1), -1);
  EXPECT_EQ(console.out(), "<t1>write failed have write -1\n ");
}

TEST_F(UartTest, TheWriteSetIsNotUsed) {
  fd_set set;
  FD_ZERO(&set);
  FD_SET(1, &set);
  unsigned char byte = 'x';
  EXPECT_EQ(SendRS485Data(fd, &set, &byte, 1), 0);
  EXPECT_TRUE(FD_ISSET(1, &set));
  EXPECT_FALSE(FD_ISSET(fd, &set));
  EXPECT_EQ(calls("select"), 0U);
}

TEST_F(UartTest, ABlockGoesOutOnATerminalToo) {
  const OpenNode terminal(board, "/dev/ttyS1");
  std::string block = "hello";
  EXPECT_EQ(SendRS485Data(terminal.fd(), nullptr, reinterpret_cast<unsigned char*>(block.data()), 5), 0);
  // By number: the PC's terminal brings the bytes a moment later, which is none of the board's time.
  pollfd far_end = {board->terminal.far_end(), POLLIN, 0};
  ASSERT_EQ(::syscall(SYS_poll, &far_end, 1, 10000, 0, 0, 0), 1);
  char received[16];
  EXPECT_EQ(::read(far_end.fd, received, sizeof received), 5);
  EXPECT_EQ(std::string(received, 5), "hello");
}

}  // namespace
