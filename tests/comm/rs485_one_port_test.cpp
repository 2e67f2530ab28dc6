// The step of an RS485 port that is wired to itself.
#include <gtest/gtest.h>
#include <unistd.h>
#include <algorithm>
#include <string>

#include "tests/comm/rs485_exchange.h"

namespace {

using namespace rs485;

class Rs485OnePortTest : public Rs485Exchange {
 protected:
  static std::string sending_on_one(const std::string& frame) { return sending(frame, "/dev/uart1"); }
};

TEST_F(Rs485OnePortTest, SuccessIsNotPrinted) {
  EXPECT_EQ(hearing_on_one_port(kFrameA), 0);
  EXPECT_EQ(console.out(), sending_on_one(kFrameA) + heard(kFrameA, "/dev/uart1"));
  console.clear();
  EXPECT_EQ(hearing_on_one_port(kFrameB, kFrameB), 0);
  EXPECT_EQ(console.out(), sending_on_one(kFrameB) + heard(kFrameB, "/dev/uart1"));
}

TEST_F(Rs485OnePortTest, TheReceiverIsNotEmptied) {
  board->uart(1).receive(kFrameB);
  EXPECT_EQ(exchange_on_one_port(), 0);
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(console.out(), sending_on_one(kFrameA) + heard(kFrameB, "/dev/uart1"));
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"write /dev/uart1 15 = 15", "ioctl /dev/uart1 0x80045502 {} = 0", "read /dev/uart1 4 = 4",
                   "ioctl /dev/uart1 0x80045502 {} = 0", "read /dev/uart1 3 = 3"}));
}

TEST_F(Rs485OnePortTest, TheWholeBufferIsZeroed) {
  EXPECT_EQ(exchange_on_one_port(), -1);
  EXPECT_EQ(received.text(), std::string(128, '\0'));
  EXPECT_EQ(board.now(), 3s);
  EXPECT_EQ(console.out(), sending_on_one(kFrameA) + "</dev/uart1>接收数据错误.\n");
}

TEST_F(Rs485OnePortTest, AHeaderAloneIsFollowedByZeros) {
  EXPECT_EQ(hearing_on_one_port(kFrameA), 0);
  console.clear();
  EXPECT_EQ(hearing_on_one_port(kFrameA.substr(0, 4)), -1);
  EXPECT_EQ(console.out(), sending_on_one(kFrameA) +
                               heard(kFrameA.substr(0, 4) + std::string(11, '\0'), "/dev/uart1") +
                               "</dev/uart1>接收的数据校验失败!!!\n");
}

TEST_F(Rs485OnePortTest, AnIncompleteHeaderGetsElevenLooks) {
  EXPECT_EQ(hearing_on_one_port(kFrameA.substr(0, 3)), -1);
  EXPECT_EQ(looks("/dev/uart1"), 11U);
}

TEST_F(Rs485OnePortTest, AnIncompleteRestGetsElevenLooks) {
  EXPECT_EQ(hearing_on_one_port(kFrameA.substr(0, 14)), -1);
  EXPECT_EQ(looks("/dev/uart1"), 12U) << "one for the header";
}

TEST_F(Rs485OnePortTest, BothReceivesWaitThreeSeconds) {
  arrive(2s, 1, kFrameA.substr(0, 4));
  arrive(4900ms, 1, kFrameA.substr(4));
  EXPECT_EQ(exchange_on_one_port(), 0);
  EXPECT_EQ(board.now(), 4900ms);
}

TEST_F(Rs485OnePortTest, AWrongChecksumFails) {
  const std::string frame = with_byte(kFrameB, 6, '\xD8');
  EXPECT_EQ(hearing_on_one_port(frame), -1);
  EXPECT_EQ(console.out(),
            sending_on_one(kFrameA) + heard(frame, "/dev/uart1") + "</dev/uart1>接收的数据校验失败!!!\n");
}

TEST_F(Rs485OnePortTest, EveryLengthByteStaysInTheBuffer) {
  for (std::size_t length = 0; length < 256; ++length) {
    SCOPED_TRACE(length);
    std::string frame = frame_of(std::max<std::size_t>(length, 5));
    frame[3] = static_cast<char>(length);
    const bool fits = length > 4 && length <= 128;
    board.clear_trace();
    ASSERT_EQ(hearing_on_one_port(frame), fits ? 0 : -1);
    char rest[512];
    board->uart(1).receive("x");
    ASSERT_GT(::read(port_1->fd(), rest, sizeof rest), 0) << "what is left must not meet the next one";
  }
}

TEST_F(Rs485OnePortTest, OtherContentPasses) {
  EXPECT_EQ(hearing_on_one_port(frame_of(15, '\x99')), 0);
}

}  // namespace
