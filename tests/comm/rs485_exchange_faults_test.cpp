// Calls that fail, are short or are interrupted in a step between two RS485 ports.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>

#include "tests/comm/rs485_exchange.h"

namespace {

using namespace rs485;

constexpr const char* kReceiveError = "</dev/uart2>接收数据错误.\n";
constexpr const char* kWrongSeal = "</dev/uart2>接收的数据校验失败!!!\n";
constexpr const char* kRightSeal = "</dev/uart2>接收的数据校验正确!!!\n";

class Rs485ExchangeFaultsTest : public Rs485Exchange {};

TEST_F(Rs485ExchangeFaultsTest, AFailedWriteIsSaidAndTheFrameAwaitedAllTheSame) {
  board.fault("write /dev/uart1");
  EXPECT_EQ(hearing(kFrameA), 0);
  EXPECT_EQ(console.out(), "</dev/uart1>开始发送数据:" + printed(kFrameA) +
                               "\n<t1>write failed have write -1\n </dev/uart1>发送完毕\n"
                               "</dev/uart2>开始接收数据\n" +
                               heard(kFrameA) + kRightSeal);
}

TEST_F(Rs485ExchangeFaultsTest, AShortWriteIsSaidAndNotFinished) {
  board.fault("write /dev/uart1 short 5");
  EXPECT_EQ(exchange(), -1);
  EXPECT_EQ(console.out(), "</dev/uart1>开始发送数据:" + printed(kFrameA) +
                               "\n<t1>write failed have write 5\n </dev/uart1>发送完毕\n"
                               "</dev/uart2>开始接收数据\n" +
                               kReceiveError);
  EXPECT_EQ(board->uart(1).sent(), kFrameA.substr(0, 5));
}

TEST_F(Rs485ExchangeFaultsTest, AnInterruptedWriteIsNotTriedAgain) {
  board.fault("write /dev/uart1 #1 EINTR");
  EXPECT_EQ(exchange(), -1);
  EXPECT_EQ(board->uart(1).sent(), "");
}

TEST_F(Rs485ExchangeFaultsTest, AReceiverThatCannotBeEmptiedIsUsedAllTheSame) {
  board.fault("ioctl /dev/uart2 0x5503");
  EXPECT_EQ(hearing(kFrameA), 0);
  board->uart(2).receive("rubbish");
  EXPECT_EQ(hearing(kFrameA), -1) << "what waited comes first";
}

TEST_F(Rs485ExchangeFaultsTest, AFailedWaitForTheHeaderFails) {
  for (const char* const fault : {"select #1 EBADF", "select #1 EINTR"}) {
    SCOPED_TRACE(fault);
    console.clear();
    board.clear_faults();
    board.fault(fault);
    EXPECT_EQ(hearing(kFrameA), -1);
    EXPECT_EQ(console.out(), sending(kFrameA) + "<t1>: select error retRd = -1\n" + kReceiveError);
  }
}

TEST_F(Rs485ExchangeFaultsTest, AFailedWaitForTheRestLeavesTheHeaderAlone) {
  board.fault("select #2 EINTR");
  EXPECT_EQ(hearing(kFrameA), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + "<t1>: select error retRd = -1\n" +
                               heard(kFrameA.substr(0, 4) + std::string(11, '~')) + kWrongSeal);
}

TEST_F(Rs485ExchangeFaultsTest, AFailedReadOfTheHeaderFails) {
  board.fault("read /dev/uart2 #1 EINTR");
  EXPECT_EQ(hearing(kFrameA), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + kReceiveError);
}

TEST_F(Rs485ExchangeFaultsTest, AShortReadOfTheHeaderFails) {
  board.fault("read /dev/uart2 #1 short 3");
  EXPECT_EQ(hearing(kFrameA), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + kReceiveError);
}

TEST_F(Rs485ExchangeFaultsTest, AFailedReadOfTheRestLeavesTheHeaderAlone) {
  board.fault("read /dev/uart2 #2");
  EXPECT_EQ(hearing(kFrameA), -1);
  EXPECT_EQ(console.out(),
            sending(kFrameA) + heard(kFrameA.substr(0, 4) + std::string(11, '~')) + kWrongSeal);
}

TEST_F(Rs485ExchangeFaultsTest, AShortReadOfTheRestIsNotFinished) {
  board.fault("read /dev/uart2 #2 short 10");
  EXPECT_EQ(hearing(kFrameA), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + heard(kFrameA.substr(0, 14) + "~") + kWrongSeal);
}

TEST_F(Rs485ExchangeFaultsTest, ADriverThatCountsNothingFails) {
  board.fault("ioctl /dev/uart2 0x80045502");
  EXPECT_EQ(hearing(kFrameA), -1);
  EXPECT_EQ(console.out(), sending(kFrameA) + kReceiveError);
}

}  // namespace
