// One step between two RS485 ports, or on one that is wired to itself: a frame is sent, a frame is checked.
#include "t1_sdk/boardtest/comm/rs485/exchange.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <unistd.h>
#include <algorithm>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "tests/comm/rs485_run.h"
#include "tests/platform/guarded_bytes.h"
#include "tests/platform/open_node.h"

namespace {

using namespace rs485;
using std::chrono::milliseconds;

/// The two forms of the step: what is sent from port 1 arrives at `receiver`.
struct Form {
  const char* name;
  decltype(rs485_process)* process;
  unsigned receiver;
  char left;          ///< what stands behind the bytes received, in a buffer that was full of '~'
  std::size_t looks;  ///< at what has arrived
  const char* right;  ///< printed of a frame that is right
};
constexpr Form kForms[] = {
    {"TwoPorts", rs485_process, 2, '~', 6, "</dev/uart2>接收的数据校验正确!!!\n"},
    {"OnePort", rs485_process_rkd037, 1, '\0', 11, ""},
};

void PrintTo(const Form& form, std::ostream* out) {
  *out << form.name;
}

class Rs485ExchangeTest : public Rs485Run, public ::testing::WithParamInterface<Form> {
 protected:
  void TearDown() override {
    port_2.reset();
    port_1.reset();
    Rs485Run::TearDown();
  }

  static fd_set only(int fd) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    return set;
  }
  /// Sends `frame` and receives into a buffer of 128 bytes that nobody may leave.
  int exchange(const std::string& frame = kFrameA) {
    std::copy(frame.begin(), frame.end(), to_send.data());
    const int from = port_1->fd();
    const int result = form.process(static_cast<int>(frame.size()), "/dev/uart1", to.c_str(), received.data(),
                                    to_send.data(), from, only(from), receiver, only(receiver));
    EXPECT_TRUE(received.front_is_intact());
    EXPECT_TRUE(to_send.front_is_intact());
    return result;
  }
  /// The exchange when this arrives a moment after the frame was sent.
  int hearing(const std::string& bytes, const std::string& frame = kFrameA) {
    arrive(now() + 10ms, form.receiver, bytes);
    return exchange(frame);
  }
  /// Forgets what was received and said before.
  void start_anew() {
    ::ioctl(receiver, 0x5503, nullptr);
    std::fill_n(received.data(), 128, static_cast<unsigned char>('~'));
    console.clear();
    board.clear_trace();
  }
  milliseconds now() const { return std::chrono::duration_cast<milliseconds>(board.now()); }
  std::string sending(const std::string& frame, const std::string& write_error = "") const {
    return "</dev/uart1>开始发送数据:" + printed(frame) + "\n" + write_error + "</dev/uart1>发送完毕\n<" +
           to + ">开始接收数据\n";
  }
  std::string heard(const std::string& bytes) const {
    return "<" + to + ">完成接收数据:" + printed(bytes) + "\n";
  }
  std::string missing() const { return "<" + to + ">接收数据错误.\n"; }
  std::string wrong() const { return "<" + to + ">接收的数据校验失败!!!\n"; }
  std::string left(std::size_t size) const { return std::string(size, form.left); }
  std::size_t looks() const {
    return static_cast<std::size_t>(std::ranges::count(board.trace(), 0x80045502, &boardsim::Call::request));
  }

  const Form& form = GetParam();
  const std::string to = port(form.receiver);
  std::optional<OpenNode> port_1{std::in_place, board, "/dev/uart1"};
  std::optional<OpenNode> port_2{std::in_place, board, "/dev/uart2"};
  const int receiver = form.receiver == 1 ? port_1->fd() : port_2->fd();
  GuardedBytes received{128, '~'};
  GuardedBytes to_send{128};
};

INSTANTIATE_TEST_SUITE_P(Of, Rs485ExchangeTest, ::testing::ValuesIn(kForms),
                         [](const auto& form) { return std::string(form.param.name); });

// ---- frames that arrive ---------------------------------------------------------------------------

TEST_P(Rs485ExchangeTest, AFrameOfEitherLengthGoesOutAndComesIn) {
  for (const std::string& sent : {kFrameA, kFrameB}) {
    for (const std::string& came : {kFrameA, kFrameB}) {
      start_anew();
      EXPECT_EQ(hearing(came, sent), 0);
      EXPECT_EQ(console.out(), sending(sent) + heard(came) + form.right);
      EXPECT_TRUE(board->uart(1).sent().ends_with(sent));
      EXPECT_EQ(received.text().substr(0, came.size()), came);
    }
  }
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(board.now(), 40ms);
}

TEST_P(Rs485ExchangeTest, AFrameWithOtherContentAndARightChecksumPasses) {
  const std::pair<std::string, std::string> rows[] = {
      {frame_of(15, '\x99'), frame_of(15, '\x99')},
      {frame_of(9), frame_of(9) + left(6)},  // shown in 15 fields
      {frame_of(100), frame_of(100).substr(0, 15)},
      {kShortestFrame, kShortestFrame + left(11)},
      {kFrameA + "behind it", kFrameA},
  };
  for (const auto& [bytes, shown] : rows) {
    SCOPED_TRACE(printed(bytes));
    start_anew();
    EXPECT_EQ(hearing(bytes), 0);
    EXPECT_EQ(console.out(), sending(kFrameA) + heard(shown) + form.right);
  }
}

TEST_P(Rs485ExchangeTest, WhatWaitedBeforeTheFrameWasSentIsThrownAwayOnTwoPortsOnly) {
  board->uart(form.receiver).receive(kFrameB);
  EXPECT_EQ(hearing(kFrameA), 0);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(form.receiver == 1 ? kFrameB : kFrameA) + form.right);
}

TEST_P(Rs485ExchangeTest, AHeaderAlonePassesBehindTheSameFrame) {
  EXPECT_EQ(hearing(kFrameA), 0);
  const bool cleared = form.left == '\0';
  EXPECT_EQ(hearing(kFrameA.substr(0, 4)), cleared ? -1 : 0) << "the rest of the frame before is still there";
}

// ---- time ----------------------------------------------------------------------------------------

TEST_P(Rs485ExchangeTest, AFrameMayTakeThreeSecondsToBeginAndAnotherThreeForItsRest) {
  struct {
    milliseconds header, rest;
    int result;
    milliseconds end;
  } const rows[] = {{2900ms, 2900ms, 0, 2900ms},
                    {3100ms, 3100ms, -1, 3000ms},
                    {2900ms, 5800ms, 0, 5800ms},
                    {10ms, 3100ms, -1, 3010ms}};
  for (const auto& row : rows) {
    const auto start = now();
    start_anew();
    arrive(start + row.header, form.receiver, kFrameA.substr(0, 4));
    arrive(start + row.rest, form.receiver, kFrameA.substr(4));
    EXPECT_EQ(exchange(), row.result);
    EXPECT_EQ(now() - start, row.end);
    ::sleep(1);  // of virtual time: what comes too late comes before the next row
  }
}

TEST_P(Rs485ExchangeTest, SilenceFailsAfterThreeSeconds) {
  EXPECT_EQ(exchange(), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + missing());
  EXPECT_EQ(board.now(), 3s);
  EXPECT_EQ(received.text(), std::string(4, '\0') + left(124));
}

TEST_P(Rs485ExchangeTest, WhatIsIncompleteIsLookedAtMoreOftenOnOnePort) {
  EXPECT_EQ(hearing(kFrameA.substr(0, 3)), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + missing());
  EXPECT_EQ(looks(), form.looks);
  start_anew();
  EXPECT_EQ(hearing(kFrameA.substr(0, 14)), -1);
  EXPECT_EQ(looks(), 1 + form.looks) << "one for the header";
}

// ---- frames that are none ---------------------------------------------------------------------------

TEST_P(Rs485ExchangeTest, AnyOtherFirstByteFailsAndNothingMoreIsReceived) {
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == 0xD0) continue;
    SCOPED_TRACE(byte);
    start_anew();
    ASSERT_EQ(hearing(sealed(with_byte(kFrameA, 0, static_cast<char>(byte)))), -1);
    ASSERT_EQ(console.out(), sending(kFrameA) + missing());
    ASSERT_EQ(calls("select"), 1U);
  }
}

TEST_P(Rs485ExchangeTest, EveryWrongChecksumFails) {
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == 0x75) continue;
    SCOPED_TRACE(byte);
    start_anew();
    const std::string frame = with_byte(kFrameA, 14, static_cast<char>(byte));
    ASSERT_EQ(hearing(frame), -1);
    ASSERT_EQ(console.out(), sending(kFrameA) + heard(frame) + wrong());
  }
}

TEST_P(Rs485ExchangeTest, AFrameThatLacksItsEndIsCheckedWithWhatTheBufferHolds) {
  for (std::size_t size = 4; size < 15; ++size) {
    SCOPED_TRACE(size);
    start_anew();
    const std::string start = kFrameA.substr(0, size);
    ASSERT_EQ(hearing(start), -1);
    ASSERT_EQ(console.out(), sending(kFrameA) + heard(start + left(15 - size)) + wrong());
  }
}

TEST_P(Rs485ExchangeTest, EveryLengthFrom5To128PassesWhenTheFrameIsSealedAndNoneLeavesTheBuffer) {
  for (std::size_t length = 0; length < 256; ++length) {
    SCOPED_TRACE(length);
    const bool fits = length > 4 && length <= 128;
    std::string frame = frame_of(std::max<std::size_t>(length, 5));
    frame[3] = static_cast<char>(length);
    start_anew();
    ASSERT_EQ(hearing(frame), fits ? 0 : -1);
    if (fits) {
      ASSERT_EQ(received.text().substr(0, length), frame);
    }
    start_anew();
    ++frame.back();
    ASSERT_EQ(hearing(frame), -1);
    ASSERT_TRUE(console.out().ends_with(wrong()));
  }
}

TEST_P(Rs485ExchangeTest, ALengthBelow4IsFollowedByAReceiveOfNothingThatWaitsThreeSeconds) {
  for (char length = 0; length < 4; ++length) {
    SCOPED_TRACE(static_cast<int>(length));
    const std::string header{'\xD0', '\x01', '\x06', length};
    start_anew();
    auto start = now();
    ASSERT_EQ(hearing(header), -1);
    EXPECT_EQ(console.out(), sending(kFrameA) + heard(header + left(11)) + wrong());
    EXPECT_EQ(now() - start, 3010ms);
    start_anew();
    start = now();
    ASSERT_EQ(hearing(header + "left"), -1);
    EXPECT_EQ(now() - start, 10ms);
    EXPECT_EQ(board.hardware_trace().back(), "read " + to + " 0 = 0");
    EXPECT_EQ(received.text().substr(4, 4), left(4));
  }
}

TEST_P(Rs485ExchangeTest, ALengthBelow4IsNoFrameHoweverItsSumFits) {
  for (char length = 1; length < 4; ++length) {
    for (int middle = 0; middle < 256; ++middle) {
      // The byte at length - 1 would be the sum of those before it.
      std::string header{'\xD0', static_cast<char>(middle), '\0', length};
      header[2] = static_cast<char>(0xD0 + middle);
      start_anew();
      ASSERT_EQ(hearing(header + kFrameA), -1) << static_cast<int>(length) << " " << middle;
    }
  }
}

// ---- calls that fail, are short or are interrupted --------------------------------------------------

TEST_P(Rs485ExchangeTest, AWriteThatFailsIsSaidAndTheFrameAwaitedAllTheSame) {
  for (const auto& [fault, written] :
       {std::pair{"write /dev/uart1", -1}, {"write /dev/uart1 EINTR", -1}, {"write /dev/uart1 short 5", 5}}) {
    SCOPED_TRACE(fault);
    start_anew();
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(hearing(kFrameA), 0);
    const std::string error = "<t1>write failed have write " + std::to_string(written) + "\n ";
    EXPECT_EQ(console.out(), sending(kFrameA, error) + heard(kFrameA) + form.right);
  }
  EXPECT_EQ(board->uart(1).sent(), kFrameA.substr(0, 5)) << "none is tried again, none is finished";
}

TEST_P(Rs485ExchangeTest, AReceiverThatCannotBeEmptiedIsUsedAllTheSame) {
  board.fault("ioctl " + to + " 0x5503");
  EXPECT_EQ(hearing(kFrameA), 0);
  board->uart(form.receiver).receive("rubbish");
  EXPECT_EQ(hearing(kFrameA), -1) << "what waited comes first";
}

TEST_P(Rs485ExchangeTest, EachCallThatFailsWhileReceivingFailsTheStep) {
  const std::string select_error = "<t1>: select error retRd = -1\n";
  const std::string header_alone = heard(kFrameA.substr(0, 4) + left(11)) + wrong();
  const std::pair<std::string, std::string> rows[] = {
      {"select #1 EBADF", select_error + missing()},
      {"select #1 EINTR", select_error + missing()},
      {"select #2 EINTR", select_error + header_alone},
      {"read " + to + " #1 EINTR", missing()},
      {"read " + to + " #1 short 3", missing()},
      {"read " + to + " #2", header_alone},
      {"read " + to + " #2 short 10", heard(kFrameA.substr(0, 14) + left(1)) + wrong()},
      {"ioctl " + to + " 0x80045502", missing()},
  };
  for (const auto& [fault, said] : rows) {
    SCOPED_TRACE(fault);
    start_anew();
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(hearing(kFrameA), -1);
    EXPECT_EQ(console.out(), sending(kFrameA) + said);
  }
}

}  // namespace
