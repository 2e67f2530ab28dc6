// One step between two RS485 ports: a frame sent from one, a frame checked on the other.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>

#include "tests/comm/rs485_exchange.h"

namespace {

using namespace rs485;

constexpr const char* kReceiveError = "</dev/uart2>接收数据错误.\n";
constexpr const char* kWrongSeal = "</dev/uart2>接收的数据校验失败!!!\n";
constexpr const char* kRightSeal = "</dev/uart2>接收的数据校验正确!!!\n";

class Rs485ExchangeTest : public Rs485Exchange {};

// ---- frames that arrive ---------------------------------------------------------------------------

TEST_F(Rs485ExchangeTest, AFrameOf15BytesGoesOutAndComesIn) {
  EXPECT_EQ(hearing(kFrameA), 0);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(kFrameA) + kRightSeal);
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(board->uart(1).sent(), kFrameA);
  EXPECT_EQ(received.text().substr(0, 15), kFrameA);
  EXPECT_EQ(board.now(), 10ms);
}

TEST_F(Rs485ExchangeTest, AFrameOf7BytesGoesOutAndComesIn) {
  EXPECT_EQ(hearing(kFrameB, kFrameB), 0);
  EXPECT_EQ(console.out(), sending(kFrameB) + heard(kFrameB) + kRightSeal);
  EXPECT_EQ(board->uart(1).sent(), kFrameB);
}

TEST_F(Rs485ExchangeTest, TheReceiverIsEmptiedThenTheFrameSentThenTheFrameReceivedInTwoParts) {
  hearing(kFrameA);
  Lines trace = board.hardware_trace();
  ASSERT_FALSE(trace.empty());
  EXPECT_TRUE(trace.front().starts_with("ioctl /dev/uart2 0x00005503 ")) << trace.front();
  trace.erase(trace.begin());
  EXPECT_EQ(trace,
            (Lines{"write /dev/uart1 15 = 15", "ioctl /dev/uart2 0x80045502 {} = 0", "read /dev/uart2 4 = 4",
                   "ioctl /dev/uart2 0x80045502 {} = 0", "read /dev/uart2 11 = 11"}));
}

TEST_F(Rs485ExchangeTest, BothReceivesWaitThreeSeconds) {
  hearing(kFrameA);
  EXPECT_EQ(waits(), (std::vector<std::vector<std::uint32_t>>{{3, 0}, {3, 0}}));
}

TEST_F(Rs485ExchangeTest, TheLengthThatIsSentDecidesHowItIsShown) {
  EXPECT_EQ(hearing(kFrameA, kFrameB), 0);
  EXPECT_EQ(console.out(), sending(kFrameB) + heard(kFrameA) + kRightSeal);
  console.clear();
  EXPECT_EQ(hearing(kFrameB, kFrameA), 0);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(kFrameB) + kRightSeal);
}

TEST_F(Rs485ExchangeTest, AFrameWithOtherContentAndARightChecksumPasses) {
  const std::string other = frame_of(15, '\x99');
  EXPECT_EQ(hearing(other), 0);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(other) + kRightSeal);
}

TEST_F(Rs485ExchangeTest, AFrameOfAnotherLengthIsShownIn15FieldsWithWhatWasThereBefore) {
  const std::string nine = frame_of(9);
  EXPECT_EQ(hearing(nine), 0);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(nine + std::string(6, '~')) + kRightSeal);
}

TEST_F(Rs485ExchangeTest, OfALongFrame15BytesAreShown) {
  const std::string hundred = frame_of(100);
  EXPECT_EQ(hearing(hundred), 0);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(hundred.substr(0, 15)) + kRightSeal);
}

TEST_F(Rs485ExchangeTest, WhatWaitedBeforeTheFrameWasSentIsThrownAway) {
  board->uart(2).receive("rubbish");
  EXPECT_EQ(hearing(kFrameA), 0);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(kFrameA) + kRightSeal);
}

TEST_F(Rs485ExchangeTest, BytesBehindTheFrameDoNotMatter) {
  EXPECT_EQ(hearing(kFrameA + "rubbish"), 0);
  EXPECT_EQ(hearing(kFrameB), 0) << "the next step throws them away";
}

TEST_F(Rs485ExchangeTest, TheCallersSetsAreNotChanged) {
  fd_set sender = only(port_1->fd());
  fd_set receiver = only(port_2->fd());
  rs485_process(15, "/dev/uart1", "/dev/uart2", received.data(), to_send.data(), port_1->fd(), sender,
                port_2->fd(), receiver);
  EXPECT_NE(FD_ISSET(port_1->fd(), &sender), 0);
  EXPECT_NE(FD_ISSET(port_2->fd(), &receiver), 0) << "although nothing was heard";
}

// ---- headers that are none ---------------------------------------------------------------------------

TEST_F(Rs485ExchangeTest, SilenceFailsAfterThreeSeconds) {
  EXPECT_EQ(exchange(), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + kReceiveError);
  EXPECT_EQ(board.now(), 3s);
  EXPECT_EQ(received.text().substr(0, 6), std::string(4, '\0') + "~~") << "four bytes are zeroed, no more";
}

TEST_F(Rs485ExchangeTest, AFrameThatComesTooLateFails) {
  arrive(3100ms, 2, kFrameA);
  EXPECT_EQ(exchange(), -1);
  EXPECT_EQ(board.now(), 3s);
}

TEST_F(Rs485ExchangeTest, AFrameThatComesAtTheLastMomentPasses) {
  arrive(2900ms, 2, kFrameA);
  EXPECT_EQ(exchange(), 0);
  EXPECT_EQ(board.now(), 2900ms);
}

TEST_F(Rs485ExchangeTest, AnyOtherFirstByteFailsWhateverFollows) {
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == 0xD0) continue;
    SCOPED_TRACE(byte);
    console.clear();
    ASSERT_EQ(hearing(sealed(with_byte(kFrameA, 0, static_cast<char>(byte)))), -1);
    ASSERT_EQ(console.out(), sending(kFrameA) + kReceiveError);
  }
}

TEST_F(Rs485ExchangeTest, ABadHeaderIsNotFollowedByASecondReceive) {
  hearing("x" + kFrameA);
  EXPECT_EQ(board.hardware_trace().back(), "read /dev/uart2 4 = 4");
  EXPECT_EQ(calls("select"), 1U);
}

TEST_F(Rs485ExchangeTest, AHeaderOfThreeBytesFailsAfterSixLooks) {
  EXPECT_EQ(hearing(kFrameA.substr(0, 3)), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + kReceiveError);
  EXPECT_EQ(looks("/dev/uart2"), 6U);
}

TEST_F(Rs485ExchangeTest, AFloodPassesWhenItBeginsWithAFrameAndFailsWhenNot) {
  std::string flood;
  while (flood.size() < 4096) flood += kFrameA;
  EXPECT_EQ(hearing(flood), 0);
  EXPECT_EQ(hearing(flood.substr(1)), -1);
  EXPECT_EQ(hearing(std::string(4096, '\xD0')), -1);
  EXPECT_EQ(hearing(std::string(4096, '\xFF')), -1);
}

// ---- what follows the header ------------------------------------------------------------------------

TEST_F(Rs485ExchangeTest, EveryWrongChecksumFails) {
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == 0x75) continue;
    SCOPED_TRACE(byte);
    console.clear();
    const std::string frame = with_byte(kFrameA, 14, static_cast<char>(byte));
    ASSERT_EQ(hearing(frame), -1);
    ASSERT_EQ(console.out(), sending(kFrameA) + heard(frame) + kWrongSeal);
  }
}

TEST_F(Rs485ExchangeTest, AFlippedBitAnywhereFails) {
  for (std::size_t bit = 0; bit < kFrameB.size() * 8; ++bit) {
    SCOPED_TRACE(bit);
    const auto flipped = static_cast<char>(kFrameB[bit / 8] ^ 1 << bit % 8);
    ASSERT_EQ(hearing(with_byte(kFrameB, bit / 8, flipped), kFrameB), -1);
  }
}

TEST_F(Rs485ExchangeTest, TwoErrorsThatCancelOutPass) {
  EXPECT_EQ(hearing(with_byte(with_byte(kFrameB, 4, '\x5B'), 5, '\xA4')), 0);
}

TEST_F(Rs485ExchangeTest, AHeaderAloneIsWaitedForAndCheckedWithWhatTheBufferHolds) {
  EXPECT_EQ(hearing(kFrameA.substr(0, 4)), -1);
  EXPECT_EQ(console.out(),
            sending(kFrameA) + heard(kFrameA.substr(0, 4) + std::string(11, '~')) + kWrongSeal);
  EXPECT_EQ(board.now(), 3010ms);
}

TEST_F(Rs485ExchangeTest, AHeaderAlonePassesBehindTheSameFrame) {
  EXPECT_EQ(hearing(kFrameA), 0);
  EXPECT_EQ(hearing(kFrameA.substr(0, 4)), 0) << "the rest of the frame before is still in the buffer";
}

TEST_F(Rs485ExchangeTest, AFrameThatLacksItsEndFails) {
  for (std::size_t size = 4; size < 15; ++size) {
    SCOPED_TRACE(size);
    std::fill_n(received.data(), 128, static_cast<unsigned char>('~'));
    console.clear();
    const std::string start = kFrameA.substr(0, size);
    ASSERT_EQ(hearing(start), -1);
    ASSERT_EQ(console.out(), sending(kFrameA) + heard(start + std::string(15 - size, '~')) + kWrongSeal);
  }
}

TEST_F(Rs485ExchangeTest, TheRestOfAFrameMayComeASecondAfterItsHeader) {
  arrive(10ms, 2, kFrameA.substr(0, 4));
  arrive(1010ms, 2, kFrameA.substr(4));
  EXPECT_EQ(exchange(), 0);
  EXPECT_EQ(board.now(), 1010ms);
}

TEST_F(Rs485ExchangeTest, ARestThatComesTooLateIsNoRest) {
  arrive(10ms, 2, kFrameA.substr(0, 4));
  arrive(3100ms, 2, kFrameA.substr(4));
  EXPECT_EQ(exchange(), -1);
  EXPECT_EQ(board.now(), 3010ms);
}

TEST_F(Rs485ExchangeTest, EveryLengthFrom5To128PassesWhenTheFrameIsSealed) {
  for (std::size_t length = 5; length <= 128; ++length) {
    SCOPED_TRACE(length);
    ASSERT_EQ(hearing(frame_of(length)), 0);
    ASSERT_EQ(received.text().substr(0, length), frame_of(length));
  }
}

TEST_F(Rs485ExchangeTest, EveryLengthFrom5To128FailsWhenTheFrameIsNot) {
  for (std::size_t length = 5; length <= 128; ++length) {
    SCOPED_TRACE(length);
    std::string frame = frame_of(length);
    ++frame.back();
    ASSERT_EQ(hearing(frame), -1);
  }
}

TEST_F(Rs485ExchangeTest, AFrameOf4BytesIsAHeaderThatSealsItself) {
  EXPECT_EQ(hearing(kShortestFrame), 0);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(kShortestFrame + std::string(11, '~')) + kRightSeal);
  EXPECT_EQ(hearing(with_byte(kShortestFrame, 2, '\x34')), -1);
}

TEST_F(Rs485ExchangeTest, ALengthBelow4IsNoFrame) {
  for (char length = 0; length < 4; ++length) {
    SCOPED_TRACE(static_cast<int>(length));
    std::fill_n(received.data(), 128, static_cast<unsigned char>('~'));
    console.clear();
    const std::string header{'\xD0', '\x01', '\x06', length};
    ASSERT_EQ(hearing(header), -1);
    ASSERT_EQ(console.out(), sending(kFrameA) + heard(header + std::string(11, '~')) + kWrongSeal);
  }
}

TEST_F(Rs485ExchangeTest, ALengthBelow4IsFollowedByAReceiveOfNothingThatWaitsThreeSeconds) {
  for (char length = 0; length < 4; ++length) {
    SCOPED_TRACE(static_cast<int>(length));
    board.clear_trace();
    const auto start = now();
    EXPECT_EQ(hearing({'\xD0', '\x01', '\x06', length}), -1);
    EXPECT_EQ(now() - start, 3010ms);
    EXPECT_EQ(waits(), (std::vector<std::vector<std::uint32_t>>{{3, 0}, {3, 0}}));
  }
}

TEST_F(Rs485ExchangeTest, BytesBehindALengthBelow4AreLeft) {
  EXPECT_EQ(hearing({'\xD0', '\x01', '\x06', '\x03', 'l', 'e', 'f', 't'}), -1);
  EXPECT_EQ(board.now(), 10ms);
  EXPECT_EQ(board.hardware_trace().back(), "read /dev/uart2 0 = 0");
  EXPECT_EQ(received.text().substr(4, 4), "~~~~");
}

TEST_F(Rs485ExchangeTest, ALengthBelow4IsNoFrameHoweverItsSumFits) {
  for (char length = 1; length < 4; ++length) {
    for (int middle = 0; middle < 256; ++middle) {
      // The byte at length - 1 would be the sum of those before it.
      std::string header{'\xD0', static_cast<char>(middle), '\0', length};
      header[2] = static_cast<char>(0xD0 + middle);
      ASSERT_EQ(hearing(header + kFrameA), -1) << static_cast<int>(length) << " " << middle;
    }
  }
}

TEST_F(Rs485ExchangeTest, AFrameThatClaimsMoreThan128BytesFailsAndStaysInTheBuffer) {
  for (std::size_t length = 129; length < 256; ++length) {
    SCOPED_TRACE(length);
    console.clear();
    ASSERT_EQ(hearing(frame_of(length)), -1);
    ASSERT_EQ(console.out(), sending(kFrameA) + heard(frame_of(length).substr(0, 15)) + kWrongSeal);
  }
}

TEST_F(Rs485ExchangeTest, AHeaderAloneOfAnyLengthIsCheckedWithinTheBuffer) {
  for (int length = 0; length < 256; ++length) {
    SCOPED_TRACE(length);
    std::fill_n(received.data(), 128, static_cast<unsigned char>(0));
    // The header's bytes add up to 0 for a length of 46, which is what the buffer holds where the checksum
    // is.
    ASSERT_EQ(hearing({'\xD0', '\x01', '\x01', static_cast<char>(length)}), length == 46 ? 0 : -1);
  }
}

TEST_F(Rs485ExchangeTest, AFloodBehindAHeaderOfAnyLengthStaysInTheBuffer) {
  for (int length = 0; length < 256; ++length) {
    SCOPED_TRACE(length);
    std::string flood(4096, '\xEE');
    flood.replace(0, 4, {'\xD0', '\x01', '\x01', static_cast<char>(length)});
    hearing(flood);
    ASSERT_FALSE(HasFailure());
  }
}

}  // namespace
