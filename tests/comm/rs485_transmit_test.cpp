// RS485 ports that only send: a frame four times, a command five times, and the same on the terminal port.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>
#include <array>
#include <ostream>
#include <string>

#include "t1_sdk/boardtest/comm/rs485/rs485.h"
#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "t1_sdk/boardtest/platform/pins.h"
#include "tests/comm/rs485_run.h"

namespace {

using namespace rs485;

// ---- a frame four times ---------------------------------------------------------------------------------

class Rs485UnitTest : public Rs485Run {
 protected:
  const std::string start = "rs485_unit_test\n" + kAnswered + kWaiting + "车检器检测线程已经停止\n";
};

TEST_F(Rs485UnitTest, FourFramesFromTheFirstCallToTheLast) {
  HardwareScript script = opened_io();
  open_port(script, 1);
  for (int i = 0; i < 4; ++i) {
    send(script, 1, 15);
    script.wait(1s);
  }
  script.close(port(1)).close("/dev/qznio");

  gpiofd = -1;
  rs485_unit_test();
  EXPECT_EQ(gpiofd, -1) << "the driver that it uses is its own";
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(board.now(), 9020ms);
  EXPECT_EQ(console.out(), start);
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(board->uart(1).sent(), repeated(kFrameA, 4));
  expect_pass();
  expect_detector_stopped_and_nodes_opened_both_ways();
}

TEST_F(Rs485UnitTest, ItPassesWhenNothingCouldBeSent) {
  board.fault("write /dev/uart1");
  rs485_unit_test();
  EXPECT_EQ(console.out(), start + repeated("<t1>write failed have write -1\n ", 4));
  expect_pass();
  EXPECT_EQ(board.now(), 9020ms);
}

// ---- a command five times ---------------------------------------------------------------------------------

/// One of the two tests that count what they could not send.
struct Counting {
  const char* name;
  void (*run)();
  std::string node;
  std::string before, after;  ///< printed around the commands, the number of errors behind it
  std::string all_passed;
  std::string sent, not_sent, result;  ///< printed of a command; the first form says the result, too
  boardsim::Time begins;
};

void PrintTo(const Counting& test, std::ostream* out) {
  *out << test.name;
}

const Counting k63xx{"OnPort1",
                     rs485_test_63xx,
                     "/dev/uart1",
                     "rs485_test_63xx\n" + kAnswered + kWaiting + "车检器检测线程已经停止\nRS485测试开始\n",
                     "RS485测试完毕\n测试总计:错误次数",
                     "RS485测试全部成功\n",
                     "RS485发送成功\n",
                     "RS485发送失败",
                     ", ret = ",
                     5020ms};
const Counting kPtz{"OnTheTerminal",
                    rs485_ptz_test,
                    "/dev/ttyS1",
                    "485设备打开成功.\n==============485测试开始==============\n",
                    "==============485测试完毕==============\n测试总计:错误次数",
                    "!!!485测试全部成功!!!\n",
                    "RS485发送成功....\n",
                    "RS485发送失败...",
                    "",
                    0s};

class Rs485CommandTest : public Rs485Run, public ::testing::WithParamInterface<Counting> {
 protected:
  Rs485CommandTest() { gpio_pin_cfg(); }

  /// What the pan-and-tilt head has been sent. One read of a terminal may give less: the PC passes its bytes
  /// on in pieces, and all of them only to a read that finds nothing.
  std::string sent() {
    if (test.node == "/dev/uart1") return board->uart(1).sent();
    std::string all;
    std::array<char, 4096> buffer{};
    for (;;) {
      const ssize_t size = ::read(board->terminal.far_end(), buffer.data(), buffer.size());
      if (size <= 0) return all;
      all.append(buffer.data(), static_cast<std::size_t>(size));
    }
  }
  std::string not_sent(const std::string& result) const {
    return test.not_sent + (test.result.empty() ? "" : test.result + result) + "\n";
  }
  /// The whole console with these lines for the commands.
  void expect_console(const std::string& commands, int errors) {
    EXPECT_EQ(console.out(), test.before + commands + test.after + std::to_string(errors) + "\n" +
                                 (errors == 0 ? test.all_passed : failed(3)));
    EXPECT_EQ(console.err(), "");
    errors == 0 ? expect_pass() : expect_fail("测试成功");
  }

  const Counting& test = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Of, Rs485CommandTest, ::testing::Values(k63xx, kPtz),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Rs485CommandTest, TheCommandIsSentFiveTimesTwoSecondsApart) {
  test.run();
  expect_console(repeated(test.sent, 5), 0);
  EXPECT_EQ(sent(), repeated(kPtzCommand, 5));
  EXPECT_EQ(board.now(), test.begins + 10s);
  expect_opened_both_ways();
}

TEST_P(Rs485CommandTest, EachCommandThatIsNotSentCountsAndIsNotRestedAfterAndTheStationIsToldOfSuccess) {
  for (int number = 1; number <= 5; ++number) {
    SCOPED_TRACE(number);
    next_board();
    board.fault("write " + test.node + " #" + std::to_string(number));
    test.run();
    expect_console(repeated(test.sent, number - 1) + not_sent("-1") + repeated(test.sent, 5 - number), 1);
    EXPECT_EQ(board.now(), test.begins + 8s);
  }
}

TEST_P(Rs485CommandTest, ShortAndInterruptedWritesCountEach) {
  board.fault("write " + test.node + " #1 short 15");
  board.fault("write " + test.node + " #2 EINTR");
  board.fault("write " + test.node + " #3 result 0");
  test.run();
  expect_console(not_sent("15") + not_sent("-1") + not_sent("0") + repeated(test.sent, 2), 3);
  EXPECT_EQ(sent(), kPtzCommand.substr(0, 15) + repeated(kPtzCommand, 2));
}

// ---- the hardware ---------------------------------------------------------------------------------------

class Rs485TransmitterTest : public Rs485Run {
 protected:
  Rs485TransmitterTest() { gpio_pin_cfg(); }

  static constexpr const char* kOpened = "485设备打开成功.\n";
};

TEST_F(Rs485TransmitterTest, FiveCommandsOnPort1FromTheFirstCallToTheLast) {
  HardwareScript script = opened_io();
  open_port(script, 1, "9600");
  script.call("ioctl /dev/qznio 0x00000104 {32, 1} = 0");
  for (int i = 0; i < 5; ++i) {
    send(script, 1, 16);
    script.wait(2s);
  }
  script.close(port(1)).close("/dev/qznio");

  gpiofd = -1;
  rs485_test_63xx();
  EXPECT_EQ(gpiofd, -1) << "the driver that it uses is its own";
  EXPECT_EQ(board.timed_hardware_trace(), script.lines());
  EXPECT_EQ(board->general_io.level(32), 1);
  expect_detector_stopped_and_nodes_opened_both_ways();
}

TEST_F(Rs485TransmitterTest, FiveCommandsOnTheTerminalFromTheFirstCallToTheLast) {
  rs485_ptz_test();
  Lines expected{"open /dev/ttyS1 = ok",     "tcgetattr /dev/ttyS1 = 0",
                 "tcflush /dev/ttyS1 2 = 0", "tcsetattr /dev/ttyS1 0 = 0",
                 "tcflush /dev/ttyS1 2 = 0", "tcgetattr /dev/ttyS1 = 0",
                 "tcflush /dev/ttyS1 0 = 0", "tcsetattr /dev/ttyS1 0 = 0",
                 "open /dev/qznio = ok",     "ioctl /dev/qznio 0x4004680e {38, 1} = 0"};
  expected.insert(expected.end(), 5, "write /dev/ttyS1 16 = 16");
  expected.insert(expected.end(), {"close /dev/qznio = 0", "close /dev/ttyS1 = 0"});
  EXPECT_EQ(board.hardware_trace(), expected);
  EXPECT_EQ(board->general_io.level(38), 1);
  EXPECT_EQ(board->application.commands().size(), 0U) << "the detector does not use this port";
}

TEST_F(Rs485TransmitterTest, TheTerminalIsRawWith8DataBitsAnd9600Baud) {
  rs485_ptz_test();
  const int fd = ::open("/dev/ttyS1", O_RDWR | O_NOCTTY);
  termios settings{};
  ASSERT_EQ(tcgetattr(fd, &settings), 0);
  ::close(fd);
  EXPECT_EQ(cfgetispeed(&settings), speed_t{B9600});
  EXPECT_EQ(cfgetospeed(&settings), speed_t{B9600});
  EXPECT_EQ(settings.c_cflag & (CSIZE | CSTOPB | PARENB), tcflag_t{CS8});
  EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ECHOE | ISIG), 0U);
  EXPECT_EQ(settings.c_oflag & OPOST, 0U);
}

TEST_F(Rs485TransmitterTest, WithoutTheTerminalNothingElseIsTried) {
  board.fault("open /dev/ttyS1");
  rs485_ptz_test();
  EXPECT_EQ(console.out(), "RS485设备不存在\nfail num = 1\n");
  expect_fail("RS485设备不存在");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/ttyS1 = -1 ENODEV"});
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(Rs485TransmitterTest, WithoutTheIoDriverTheTerminalStaysOpenAndTheErrorIsThatOfMinus1) {
  board.fault("open /dev/qznio EBUSY");
  expect_open({"/dev/ttyS1"});
  rs485_ptz_test();
  EXPECT_EQ(console.out(), std::string(kOpened) +
                               "<T1> ERR:open /dev/qznio failure!, info :Unknown error -1\nfail num = 2\n");
  EXPECT_EQ(console.err(), "");
  expect_fail("open /dev/qznio failure");
  EXPECT_EQ(calls("write"), 0U);
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(Rs485TransmitterTest, SettingsOrATransmitterThatAreRefusedDoNotMatter) {
  const std::string unread = "tcgetattr Input/output error\n<T1> ERR:rs485_test:";
  const std::pair<const char*, std::string> rows[] = {
      {"tcgetattr #1", unread + "tty_speed_set error\n"},
      {"tcgetattr #2", unread + "tty_parity_set error\n"},
      {"tcsetattr", ""},
      {"ioctl /dev/qznio 0x4004680e",
       "<T1> DBG:set gpio pin 38 's direction to input failure!\n"
       "<T1> ERR:Setting rs485 gpio[38] value[1] failure!\n"}};
  for (const auto& [fault, said] : rows) {
    SCOPED_TRACE(fault);
    next_board();
    board.fault(fault);
    rs485_ptz_test();
    EXPECT_TRUE(console.out().starts_with(kOpened + said + "==============485测试开始")) << console.out();
    expect_pass();
  }
  next_board();
  board.fault("ioctl /dev/qznio 0x104");
  rs485_test_63xx();
  expect_pass();
}

}  // namespace
