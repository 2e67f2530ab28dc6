// RS485 ports of the board that only send.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>

#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "tests/comm/rs485_run.h"

namespace {

using namespace rs485;

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

/// What both variants do up to the opening of the port, and when that or what is before it fails.
struct Transmitter {
  const char* name;
  void (*run)();
};

void PrintTo(const Transmitter& transmitter, std::ostream* out) {
  *out << transmitter.name;
}

class Rs485TransmitTest : public Rs485Run, public ::testing::WithParamInterface<Transmitter> {
 protected:
  const Transmitter& test = GetParam();
  std::string start() const { return test.name + ("\n" + kAnswered) + kWaiting; }
};

INSTANTIATE_TEST_SUITE_P(By, Rs485TransmitTest,
                         ::testing::Values(Transmitter{"rs485_unit_test", rs485_unit_test},
                                           Transmitter{"rs485_test_63xx", rs485_test_63xx}),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(Rs485TransmitTest, WithoutTheIoDriverNothingElseIsTried) {
  board.fault("open /dev/qznio");
  test.run();
  EXPECT_EQ(console.out(), std::string(test.name) + "\n打开/dev/qznio失败\nfail num = 1\n");
  EXPECT_EQ(console.err(), "Open /dev/qznio: No such device\n");
  expect_fail("打开/dev/qznio失败");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/qznio = -1 ENODEV"});
  EXPECT_EQ(board->application.commands().size(), 0U);
  EXPECT_EQ(board.now(), 0s);
}

TEST_P(Rs485TransmitTest, WithoutThePortTheIoDriverIsClosed) {
  board.fault("open /dev/uart1");
  test.run();
  EXPECT_EQ(console.out(), start() + "<t1>打开RS485口错误\nfail num = 2\n");
  expect_fail("<t1>打开RS485口错误");
  EXPECT_EQ(board.hardware_trace(),
            (Lines{"open /dev/qznio = ok", "open /dev/uart1 = -1 ENODEV", "close /dev/qznio = 0"}));
}

TEST_P(Rs485TransmitTest, TheDetectorThreadIsStoppedAndFiveSecondsGoBy) {
  test.run();
  EXPECT_EQ(board->application.commands(), (std::vector<boardsim::Application::Command>{{12, 0x1333D0D, 0}}));
  const auto trace = board.trace();
  const auto sleep = std::ranges::find(trace, "sleep", &boardsim::Call::name);
  ASSERT_NE(sleep, trace.end());
  EXPECT_EQ(sleep->record, std::vector<std::uint32_t>{5});
}

TEST_P(Rs485TransmitTest, TheIoDriverThatItUsesIsItsOwn) {
  gpiofd = -1;
  test.run();
  EXPECT_EQ(gpiofd, -1);
}

TEST_P(Rs485TransmitTest, EveryNodeIsOpenedForReadingAndWriting) {
  test.run();
  expect_opened_both_ways();
}

TEST_P(Rs485TransmitTest, NothingIsReceived) {
  board.at(6s, [this] { board->uart(1).receive("rubbish"); });
  test.run();
  EXPECT_EQ(calls("read") + waits().size(), 0U);
  expect_pass();
}

TEST_P(Rs485TransmitTest, APortThatRefusesItsSetUpIsUsedAllTheSame) {
  board.fault("ioctl /dev/uart1 0x40045501");
  test.run();
  expect_pass();
}

// ---- a frame four times ---------------------------------------------------------------------------------

class Rs485UnitTest : public Rs485Run {
 protected:
  const std::string start = "rs485_unit_test\n" + kAnswered + kWaiting + "车检器检测线程已经停止\n";
};

TEST_F(Rs485UnitTest, TheFrameIsSentFourTimesASecondApart) {
  rs485_unit_test();
  EXPECT_EQ(console.out(), start);
  EXPECT_EQ(console.err(), "");
  expect_pass();
  EXPECT_EQ(board->uart(1).sent(), repeated(kFrameA, 4));
  EXPECT_EQ(board.now(), 9020ms);
  EXPECT_EQ(board->uart(1).setup(), (boardsim::UartSetup{38400, 3, 0, 0, 0}));
}

TEST_F(Rs485UnitTest, ItPassesWhenNothingCouldBeSent) {
  board.fault("write /dev/uart1");
  rs485_unit_test();
  EXPECT_EQ(console.out(), start + repeated("<t1>write failed have write -1\n ", 4));
  expect_pass();
  EXPECT_EQ(board.now(), 9020ms);
}

TEST_F(Rs485UnitTest, ItPassesWhenSendingComesShortOrIsInterrupted) {
  board.fault("write /dev/uart1 #2 short 14");
  board.fault("write /dev/uart1 #3 EINTR");
  rs485_unit_test();
  EXPECT_EQ(console.out(), start + "<t1>write failed have write 14\n <t1>write failed have write -1\n ");
  expect_pass();
  EXPECT_EQ(board->uart(1).sent(), kFrameA + kFrameA.substr(0, 14) + kFrameA);
}

// ---- a command five times ---------------------------------------------------------------------------------

class Rs485Test63xx : public Rs485Run {
 protected:
  const std::string start =
      "rs485_test_63xx\n" + kAnswered + kWaiting + "车检器检测线程已经停止\nRS485测试开始\n";
  static std::string end(int errors) {
    return "RS485测试完毕\n测试总计:错误次数" + std::to_string(errors) + "\n" +
           (errors == 0 ? "RS485测试全部成功\n" : "fail num = 3\n");
  }
  static constexpr const char* kSent = "RS485发送成功\n";
};

TEST_F(Rs485Test63xx, TheCommandIsSentFiveTimesAt9600Baud) {
  rs485_test_63xx();
  EXPECT_EQ(console.out(), start + repeated(kSent, 5) + end(0));
  EXPECT_EQ(console.err(), "");
  expect_pass();
  EXPECT_EQ(board->uart(1).sent(), repeated(kPtzCommand, 5));
  EXPECT_EQ(board->uart(1).setup(), (boardsim::UartSetup{9600, 3, 0, 0, 0}));
}

TEST_F(Rs485Test63xx, ItTakes10SecondsWhenEveryCommandIsSent) {
  rs485_test_63xx();
  EXPECT_EQ(board.now(), 15020ms);
  EXPECT_EQ(calls("sleep"), 6U);
}

TEST_F(Rs485Test63xx, TheTransmitterIsEnabledBeforeTheFirstCommand) {
  rs485_test_63xx();
  const Lines trace = board.hardware_trace();
  const auto enabled = std::ranges::find(trace, "ioctl /dev/qznio 0x00000104 {32, 1} = 0");
  const auto sent = std::ranges::find(trace, "write /dev/uart1 16 = 16");
  ASSERT_NE(enabled, trace.end());
  EXPECT_LT(enabled, sent);
  EXPECT_EQ(board->general_io.level(32), 1);
}

TEST_F(Rs485Test63xx, ATransmitterThatCannotBeEnabledDoesNotMatter) {
  board.fault("ioctl /dev/qznio 0x104");
  rs485_test_63xx();
  expect_pass();
}

TEST_F(Rs485Test63xx, EachCommandThatIsNotSentCountsAndIsNotRestedAfter) {
  for (int number = 1; number <= 5; ++number) {
    SCOPED_TRACE(number);
    next_board();
    board.fault("write /dev/uart1 #" + std::to_string(number));
    rs485_test_63xx();
    EXPECT_EQ(console.out(), start + repeated(kSent, number - 1) + "RS485发送失败, ret = -1\n" +
                                 repeated(kSent, 5 - number) + end(1));
    EXPECT_EQ(board.now(), 13020ms);
  }
}

TEST_F(Rs485Test63xx, WhoeverFailsTellsTheStationOfSuccess) {
  board.fault("write /dev/uart1 #3");
  rs485_test_63xx();
  expect_fail("测试成功");
}

TEST_F(Rs485Test63xx, ShortAndInterruptedWritesCountEach) {
  board.fault("write /dev/uart1 #1 short 15");
  board.fault("write /dev/uart1 #2 EINTR");
  board.fault("write /dev/uart1 #3 result 0");
  rs485_test_63xx();
  EXPECT_EQ(console.out(), start +
                               "RS485发送失败, ret = 15\nRS485发送失败, ret = -1\nRS485发送失败, ret = 0\n" +
                               repeated(kSent, 2) + end(3));
  expect_fail("测试成功");
  EXPECT_EQ(board->uart(1).sent(), kPtzCommand.substr(0, 15) + repeated(kPtzCommand, 2));
}

TEST_F(Rs485Test63xx, NothingSentAtAllTakesNoTime) {
  board.fault("write /dev/uart1");
  rs485_test_63xx();
  EXPECT_EQ(console.out(), start + repeated("RS485发送失败, ret = -1\n", 5) + end(5));
  EXPECT_EQ(board.now(), 5020ms);
}

}  // namespace
