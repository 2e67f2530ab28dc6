// The board's serial ports: their configuration, blocks sent and blocks received.
#include "t1_sdk/boardtest/platform/uart.h"

#include <gtest/gtest.h>
#include <sys/select.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/harness/console.h"
#include "tests/harness/on_board.h"
#include "tests/platform/guarded_bytes.h"
#include "tests/platform/open_node.h"

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

TEST(UartRecordTest, TheConfigurationIsFiveSignedWordsOf32BitsInTheirOrder) {
  static_assert(sizeof(uart_cfg) == 20);
  static_assert(offsetof(uart_cfg, baudrate) == 0 && offsetof(uart_cfg, data) == 4);
  static_assert(offsetof(uart_cfg, stop) == 8 && offsetof(uart_cfg, parity) == 12);
  static_assert(offsetof(uart_cfg, flowcontrol) == 16);
  static_assert(std::is_signed_v<decltype(uart_cfg::baudrate)> && std::is_signed_v<decltype(uart_cfg::data)>);
  static_assert(std::is_signed_v<decltype(uart_cfg::stop)> && std::is_signed_v<decltype(uart_cfg::parity)>);
  static_assert(std::is_signed_v<decltype(uart_cfg::flowcontrol)>);
}

/// The port in use is the second one opened, so that its descriptor is the higher of the two.
class UartTest : public OnBoard {
 protected:
  void TearDown() override {
    port.reset();
    other_port.reset();
    OnBoard::TearDown();
  }

  int send(std::string block) {
    return SendRS485Data(fd, nullptr, reinterpret_cast<unsigned char*>(block.data()),
                         static_cast<int>(block.size()));
  }
  /// Receives, by default with a second's time-out, the set holding the port; what came is in `text`.
  int receive(int length, int wait_time = 0, int time_out = 1) {
    GuardedBytes buffer(static_cast<std::size_t>(std::max(length, 0)));
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    const int result = recvRS485Data(fd, &set, buffer.data(), length, time_out, wait_time);
    text = buffer.text();
    EXPECT_TRUE(buffer.front_is_intact());
    return result;
  }
  /// Throws away what waits at the port, so that it does not meet the next block.
  void drain() {
    char rest[4096];
    board.clear_faults();
    board->uart(1).receive("x");
    ASSERT_GT(::read(fd, rest, sizeof rest), 0);
    board.clear_trace();
    console.clear();
  }
  /// How often the driver was asked for its count.
  std::size_t looks() const {
    return static_cast<std::size_t>(std::ranges::count(board.trace(), 0x80045502, &boardsim::Call::request));
  }
  static std::string untouched(std::size_t size) {
    return std::string(size, static_cast<char>(GuardedBytes::kUntouched));
  }
  static std::string every_byte() {
    std::string block;
    for (int byte = 0; byte < 256; ++byte) block.push_back(static_cast<char>(byte));
    return block;
  }

  std::optional<OpenNode> other_port{std::in_place, board, "/dev/uart2"};
  std::optional<OpenNode> port{std::in_place, board, "/dev/uart1"};
  int fd = port->fd();
  std::string text;
  Console console;
};

// ---- configuration ---------------------------------------------------------------------------

TEST_F(UartTest, APortIsSetUpAsTheCallerSaysWithEachValueUncheckedInItsOwnWord) {
  EXPECT_EQ(uart_config(fd, 9600, 8, 1, 3, 2), 0);
  EXPECT_EQ(board->uart(1).setup(), (boardsim::UartSetup{9600, 8, 1, 3, 2}));
  uart_config(fd, -1, 99, 0, INT_MIN, INT_MAX);
  ASSERT_EQ(board.trace().size(), 2U);
  EXPECT_EQ(board.trace().at(1).request, 0x40045501U);
  EXPECT_EQ(board.trace().at(1).record,
            (std::vector<std::uint32_t>{0xFFFFFFFF, 99, 0, 0x80000000, 0x7FFFFFFF}));
}

TEST_F(UartTest, TheResultOfASetUpIsTheDriversInSilence) {
  board.fault("ioctl /dev/uart1 0x40045501 #1");
  board.fault("ioctl /dev/uart1 0x40045501 #2 result 5");
  EXPECT_EQ(uart_config(fd, 9600, 8, 1, 0, 0), -1);
  EXPECT_EQ(uart_config(fd, 9600, 8, 1, 0, 0), 5);
  EXPECT_EQ(uart_config(-1, 9600, 8, 1, 0, 0), -1);
  EXPECT_EQ(board.hardware_trace().size(), 2U) << "none is tried again";
  EXPECT_EQ(console.out(), "");
}

// ---- sending -----------------------------------------------------------------------------------

TEST_F(UartTest, ABlockGoesOutInOneWriteWithEveryByteAsItIs) {
  EXPECT_EQ(send(every_byte()), 0);
  EXPECT_EQ(board->uart(1).sent(), every_byte());
  EXPECT_EQ(board.hardware_trace(), (Lines{"write /dev/uart1 256 = 256"}));
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartTest, BlocksOf0To1024BytesAreSentAndEachTouchesOnlyItsOwn) {
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

TEST_F(UartTest, ABlockThatIsNotSentWholeIsReportedWithWhatWasWritten) {
  const std::pair<const char*, int> rows[] = {{"short 3", 3}, {"result 0", 0}, {"EIO", -1}};
  for (const auto& [how, written] : rows) {
    SCOPED_TRACE(how);
    drain();
    board.fault(std::string("write /dev/uart1 ") + how);
    EXPECT_EQ(send("hello"), -1);
    EXPECT_EQ(console.out(), "<t1>write failed have write " + std::to_string(written) + "\n ");
    EXPECT_EQ(calls("write"), 1U) << "the rest is not sent after it";
  }
  EXPECT_EQ(board->uart(1).sent(), "hel");
  console.clear();
  unsigned char byte = 'x';
  EXPECT_EQ(SendRS485Data(-1, nullptr, &byte, 1), -1);
  EXPECT_EQ(console.out(), "<t1>write failed have write -1\n ");
}

// ---- receiving: waiting for the first byte ---------------------------------------------------------

TEST_F(UartTest, BytesAreReceivedAsTheyAreAndThoseBehindTheBlockAreLeftForTheNextOne) {
  board->uart(1).receive(every_byte() + "second");
  EXPECT_EQ(receive(256), 256);
  EXPECT_EQ(text, every_byte());
  EXPECT_EQ(looks(), 1U);
  EXPECT_EQ(board.hardware_trace().back(), "read /dev/uart1 256 = 256");
  EXPECT_EQ(receive(6), 6);
  EXPECT_EQ(text, "second");
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartTest, TheFirstByteMayTakeAlmostTheWholeTimeOut) {
  constexpr auto kNever = 24h;
  struct {
    boardsim::Time arrival;
    int time_out;  ///< seconds
    int result;
    boardsim::Time end;
  } const rows[] = {{0s, 0, 5, 0s},     {2900ms, 3, 5, 2900ms}, {3100ms, 3, 0, 3s},
                    {kNever, 0, 0, 0s}, {kNever, 1, 0, 1s},     {kNever, 7, 0, 7s}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.time_out);
    const auto start = board.now();
    board.clear_trace();
    if (row.arrival == 0s) board->uart(1).receive("hello");
    if (row.arrival != 0s && row.arrival != kNever) {
      board.at(start + row.arrival, [this] { board->uart(1).receive("hello"); });
    }
    EXPECT_EQ(receive(5, 100, row.time_out), row.result);
    EXPECT_EQ(text, row.result == 5 ? "hello" : untouched(5));
    EXPECT_EQ(board.now() - start, row.end);
    EXPECT_EQ(looks(), row.result == 5 ? 1U : 0U);
    EXPECT_EQ(calls("select"), 1U);
    ::sleep(1);  // of virtual time: what comes too late comes before the next row
    drain();
  }
}

TEST_F(UartTest, AFailedWaitIsReported) {
  board->uart(1).receive("hello");
  board.fault("select EBADF");
  EXPECT_EQ(receive(5), -1);
  EXPECT_EQ(console.out(), "<t1>: select error retRd = -1\n");
  EXPECT_EQ(text, untouched(5));
  EXPECT_EQ(looks(), 0U);
  EXPECT_EQ(calls("select"), 1U);
}

TEST_F(UartTest, AnotherPortsBytesAreNotThisPorts) {
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

TEST_F(UartTest, APortThatIsNotInTheSetIsNotWaitedFor) {
  board->uart(1).receive("hello");
  fd_set set;
  FD_ZERO(&set);
  GuardedBytes buffer(5);
  EXPECT_EQ(recvRS485Data(fd, &set, buffer.data(), 5, 2, 0), 0);
  EXPECT_EQ(board.now(), 2s);
  EXPECT_EQ(looks(), 0U);
}

// ---- receiving: passes over the driver's count ------------------------------------------------------

TEST_F(UartTest, TheNumberOfPassesIsATenthOfTheWaitAndOneAndPassesTakeNoTime) {
  const std::pair<int, std::size_t> rows[] = {{-9, 1}, {0, 1},  {1, 1},   {9, 1},    {10, 2},    {19, 2},
                                              {20, 3}, {50, 6}, {99, 10}, {100, 11}, {1000, 101}};
  for (const auto& [wait_time, passes] : rows) {
    SCOPED_TRACE(wait_time);
    board->uart(1).receive("abc");
    board.clear_trace();
    EXPECT_EQ(receive(5, wait_time), 3);
    EXPECT_EQ(text, "abc" + untouched(2));
    EXPECT_EQ(looks(), passes);
    EXPECT_EQ(board.hardware_trace().back(), "read /dev/uart1 3 = 3");
  }
  EXPECT_EQ(console.out(), "");
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(calls("usleep") + calls("sleep"), 0U);
}

TEST_F(UartTest, TheRestOfABlockThatComesAMomentLaterIsNotWaitedFor) {
  board->uart(1).receive("abc");
  board.at(1ms, [this] { board->uart(1).receive("de"); });
  EXPECT_EQ(receive(5, 1000), 3);
  EXPECT_EQ(receive(2), 2);
  EXPECT_EQ(text, "de");
}

TEST_F(UartTest, ACountOrAReadThatFailsGivesWhatThereWasBefore) {
  struct {
    const char *waiting, *fault;
    int wait_time, result;
    std::size_t looks;
  } const rows[] = {
      {"hello", "ioctl /dev/uart1 0x80045502 #1 result 0", 100, 5, 2},  // the pass that finds all is the last
      {"hello", "ioctl /dev/uart1 0x80045502 #1 result 0", 10, 5, 2},
      {"hello", "ioctl /dev/uart1 0x80045502 result 0", 20, 0, 3},
      {"hello", "ioctl /dev/uart1 0x80045502", 20, 0, 3},
      {"abc", "ioctl /dev/uart1 0x80045502 #2+", 20, 3, 3},  // what was reported last
      {"hello", "read /dev/uart1 short 2", 10, 2, 1},
      {"abc", "read /dev/uart1 short 1", 10, 1, 2},
      {"hello", "read /dev/uart1", 10, -1, 1},
      {"abc", "read /dev/uart1", 10, -1, 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fault);
    drain();
    board->uart(1).receive(row.waiting);
    board.fault(row.fault);
    EXPECT_EQ(receive(5, row.wait_time), row.result);
    const auto received = static_cast<std::size_t>(std::max(row.result, 0));
    EXPECT_EQ(text, std::string(row.waiting, received) + untouched(5 - received));
    EXPECT_EQ(looks(), row.looks);
    EXPECT_EQ(console.out(), "");
  }
}

// ---- receiving: lengths ----------------------------------------------------------------------------

TEST_F(UartTest, ABlockOf257BytesIsRefusedBeforeAnyWait) {
  board->uart(1).receive(std::string(257, 'x'));
  EXPECT_EQ(receive(257), -1);
  EXPECT_EQ(console.out(), "<t1>: param datalen is error!\n");
  EXPECT_EQ(calls("select"), 0U);
  EXPECT_EQ(board.hardware_trace(), Lines{});
}

TEST_F(UartTest, ABlockOfNoBytesOrLessWaitsForOneAndLeavesIt) {
  for (const int length : {0, -1, -5, -257, INT_MIN}) {
    SCOPED_TRACE(length);
    const auto start = board.now();
    board.clear_trace();
    board.at(start + 500ms, [this] { board->uart(1).receive("x"); });
    EXPECT_EQ(receive(length, 100), 0);
    EXPECT_EQ(board.now() - start, 500ms);
    EXPECT_EQ(looks(), 1U);
    EXPECT_EQ(receive(1), 1) << "the byte is still there";
  }
  EXPECT_EQ(console.out(), "");
}

TEST_F(UartTest, EveryLengthUpTo2000TouchesOnlyItsOwnBuffer) {
  for (int length = 1; length <= 2000; ++length) {
    SCOPED_TRACE(length);
    const auto size = static_cast<std::size_t>(length);
    const bool fits = length <= 256;
    board->uart(1).receive(std::string(size, 'b'));
    ASSERT_EQ(receive(length), fits ? length : -1);
    ASSERT_EQ(text, fits ? std::string(size, 'b') : untouched(size));
    if (!fits) {
      drain();
    } else if (length > 1) {  // and with one byte missing
      board->uart(1).receive(std::string(size - 1, 'b'));
      ASSERT_EQ(receive(length, 10), length - 1);
      ASSERT_EQ(text, std::string(size - 1, 'b') + untouched(1));
    }
  }
}

}  // namespace
