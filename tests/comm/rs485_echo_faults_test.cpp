// Calls that fail while the RS485 port is echoed, and a fixture that does not do its part.
#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "tests/comm/rs485_echo.h"

namespace {

using namespace rs485;

class Rs485EchoFaultsTest : public EchoRun {};

TEST_F(Rs485EchoFaultsTest, WithoutTheIoDriverNothingElseIsTried) {
  board.fault("open /dev/qznio");
  run();
  EXPECT_EQ(console.out(), "rs485_test\n打开/dev/qznio失败\nfail num = 1\n");
  EXPECT_EQ(console.err(), "Open /dev/qznio: No such device\n");
  expect_fail("打开/dev/qznio失败");
  EXPECT_EQ(board.now(), 0s);
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/qznio = -1 ENODEV"});
}

TEST_F(Rs485EchoFaultsTest, WithoutThePortTheIoDriverIsClosed) {
  board.fault("open /dev/uart1 ENXIO");
  run();
  EXPECT_EQ(console.out(), kStart + "<t1>打开RS485口错误\nfail num = 2\n");
  expect_fail("<t1>打开RS485口错误");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/qznio = ok", "open /dev/uart1 = -1 ENXIO", "close /dev/qznio = 0"}));
  EXPECT_EQ(board.now(), 5020ms);
}

TEST_F(Rs485EchoFaultsTest, APortThatRefusesItsSetUpIsUsedAllTheSame) {
  board.fault("ioctl /dev/uart1 0x40045501");
  run(kFrameA, kFrameB);
  expect_pass();
}

TEST_F(Rs485EchoFaultsTest, AnEchoThatCannotBeSentIsSaidAndTheSecondFrameAwaited) {
  for (const auto& [fault, written] :
       {std::pair{"write /dev/uart1", -1}, {"write /dev/uart1 EINTR", -1}, {"write /dev/uart1 short 3", 3}}) {
    SCOPED_TRACE(fault);
    next_board();
    board.fault(fault);
    run(kFrameA, kFrameB);
    EXPECT_EQ(console.out(), kStart + kReady + echoing(kFrameA) + "<t1>write failed have write " +
                                 std::to_string(written) + "\n " + kSecondRight + second_data(kFrameB));
    expect_pass();
  }
}

TEST_F(Rs485EchoFaultsTest, EachWaitThatFailsEndsTheTest) {
  const std::pair<int, const char*> expected[] = {{1, "第一次接收错误"},
                                                  {2, "第一次接收数据并且校验错误"},
                                                  {3, "第二次接收数据错误"},
                                                  {4, "第二次接收数据并且校验错误"}};
  for (const auto& [wait, description] : expected) {
    for (const char* const error : {" EBADF", " EINTR"}) {
      SCOPED_TRACE(std::to_string(wait) + error);
      next_board();
      board.fault("select #" + std::to_string(wait) + error);
      run(kFrameA, kFrameB);
      EXPECT_NE(console.out().find("<t1>: select error retRd = -1\n"), std::string::npos);
      expect_fail(description);
    }
  }
}

TEST_F(Rs485EchoFaultsTest, EachReadThatFailsOrIsShortEndsTheTest) {
  const std::pair<int, const char*> expected[] = {{1, "第一次接收错误"},
                                                  {2, "第一次接收数据并且校验错误"},
                                                  {3, "第二次接收数据错误"},
                                                  {4, "第二次接收数据并且校验错误"}};
  for (const auto& [read, description] : expected) {
    for (const char* const how : {"", " EINTR", " short 2"}) {
      SCOPED_TRACE(std::to_string(read) + how);
      next_board();
      board.fault("read /dev/uart1 #" + std::to_string(read) + how);
      run(kFrameA, kFrameB);
      expect_fail(description);
    }
  }
}

TEST_F(Rs485EchoFaultsTest, APartnerThatIsSilentOrWrongFailsTheTest) {
  const std::pair<const char*, const char*> expected[] = {
      {"rs485 partner silent", "第一次接收错误"}, {"rs485 partner wrong", "第二次接收数据并且校验错误"}};
  for (const auto& [fault, description] : expected) {
    SCOPED_TRACE(fault);
    next_board();
    board->rs485.set_fixture("partner");
    board.fault(fault);
    rs485_test();
    expect_fail(description);
  }
}

TEST_F(Rs485EchoFaultsTest, EachFaultOfTheLineHasItsCode) {
  struct {
    const char* fault;
    int code;
    const char* description;
  } const expected[] = {{"rs485 partner 1 open", 6, "第一次接收错误"},
                        {"rs485 partner flips 1", 6, "第一次接收错误"},
                        {"rs485 partner late 60000", 6, "第一次接收错误"},
                        {"rs485 partner flips 3", 5, "第一次接收数据并且校验错误"},
                        {"rs485 partner flips 15", 5, "第一次接收数据并且校验错误"},
                        {"rs485 partner loses 15", 5, "第一次接收数据并且校验错误"},
                        {"rs485 1 partner open", 4, "第二次接收数据错误"},
                        {"rs485 1 flips 15", 4, "第二次接收数据错误"},
                        {"rs485 partner loses 16", 4, "第二次接收数据错误"},
                        {"rs485 partner flips 20", 3, "第二次接收数据并且校验错误"},
                        {"rs485 partner loses 22", 3, "第二次接收数据并且校验错误"}};
  for (const auto& [fault, code, description] : expected) {
    SCOPED_TRACE(fault);
    next_board();
    board->rs485.set_fixture("partner");
    board.fault(fault);
    rs485_test();
    expect_fail(description);
    EXPECT_TRUE(console.out().ends_with(failed(code)));
  }
}

TEST_F(Rs485EchoFaultsTest, AFrameThatTheLineDisturbsIsNotEchoed) {
  board->rs485.set_fixture("partner");
  board.fault("rs485 partner flips 15");
  rs485_test();
  expect_first_wrong();
}

TEST_F(Rs485EchoFaultsTest, APartnerThatIsAlmostAMinuteLatePasses) {
  board->rs485.set_fixture("partner");
  board.fault("rs485 partner late 58000");
  rs485_test();
  expect_pass();
}

TEST_F(Rs485EchoFaultsTest, ADeadDriverMeansThatThePartnerMissesTheEcho) {
  board->rs485.set_fixture("partner");
  board.fault("uart 1 driver dead");
  rs485_test();
  expect_fail("第二次接收数据错误");
}

}  // namespace
