// The pan-and-tilt commands on the terminal port.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <string>

#include "t1_sdk/boardtest/comm/rs485/rs485.h"
#include "t1_sdk/boardtest/platform/pins.h"
#include "tests/comm/rs485_run.h"

namespace {

using namespace rs485;

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

const std::string kOpened = "485设备打开成功.\n";
const std::string kBegin = "==============485测试开始==============\n";
const std::string kSent = "RS485发送成功....\n";
const std::string kNotSent = "RS485发送失败...\n";
constexpr const char* kEnable = "ioctl /dev/qznio 0x4004680e {38, 1} = 0";

std::string end(int errors) {
  return "==============485测试完毕==============\n测试总计:错误次数" + std::to_string(errors) + "\n" +
         (errors == 0 ? "!!!485测试全部成功!!!\n" : "fail num = 3\n");
}

class Rs485PtzTest : public Rs485Run {
 protected:
  Rs485PtzTest() { gpio_pin_cfg(); }

  /// What the camera's pan-and-tilt head has been sent. One read may give less: the PC passes the bytes of a
  /// terminal on in pieces, and all of them only to a read that finds nothing.
  std::string sent() {
    std::string all;
    std::array<char, 4096> buffer{};
    for (;;) {
      const ssize_t size = ::read(board->terminal.far_end(), buffer.data(), buffer.size());
      if (size <= 0) return all;
      all.append(buffer.data(), static_cast<std::size_t>(size));
    }
  }
};

TEST_F(Rs485PtzTest, TheCommandIsSentFiveTimes) {
  rs485_ptz_test();
  EXPECT_EQ(console.out(), kOpened + kBegin + repeated(kSent, 5) + end(0));
  EXPECT_EQ(console.err(), "");
  EXPECT_EQ(sent(), repeated(kPtzCommand, 5));
  expect_pass();
}

TEST_F(Rs485PtzTest, ItTakes10SecondsWhenEveryCommandIsSent) {
  rs485_ptz_test();
  EXPECT_EQ(board.now(), 10s);
  EXPECT_EQ(calls("sleep"), 5U);
}

TEST_F(Rs485PtzTest, TheApplicationIsLeftAlone) {
  rs485_ptz_test();
  EXPECT_EQ(board->application.commands().size(), 0U);
  EXPECT_EQ(calls("connect"), 0U);
}

TEST_F(Rs485PtzTest, TheLineIsRawWith8DataBitsAnd9600Baud) {
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

TEST_F(Rs485PtzTest, TheLineIsSetUpThenTheTransmitterEnabledThenTheCommandsSent) {
  rs485_ptz_test();
  Lines trace = board.hardware_trace();
  ASSERT_GT(trace.size(), 2U);
  Lines closes(trace.end() - 2, trace.end());
  std::ranges::sort(closes);
  EXPECT_EQ(closes, (Lines{"close /dev/qznio = 0", "close /dev/ttyS1 = 0"}));
  trace.resize(trace.size() - 2);
  Lines expected{"open /dev/ttyS1 = ok",     "tcgetattr /dev/ttyS1 = 0",
                 "tcflush /dev/ttyS1 2 = 0", "tcsetattr /dev/ttyS1 0 = 0",
                 "tcflush /dev/ttyS1 2 = 0", "tcgetattr /dev/ttyS1 = 0",
                 "tcflush /dev/ttyS1 0 = 0", "tcsetattr /dev/ttyS1 0 = 0",
                 "open /dev/qznio = ok",     kEnable};
  expected.insert(expected.end(), 5, "write /dev/ttyS1 16 = 16");
  EXPECT_EQ(trace, expected);
  EXPECT_EQ(board->general_io.level(38), 1);
}

TEST_F(Rs485PtzTest, BothNodesAreOpenedForReadingAndWriting) {
  rs485_ptz_test();
  expect_opened_both_ways();
}

TEST_F(Rs485PtzTest, WithoutThePortNothingElseIsTried) {
  board.fault("open /dev/ttyS1");
  rs485_ptz_test();
  EXPECT_EQ(console.out(), "RS485设备不存在\nfail num = 1\n");
  expect_fail("RS485设备不存在");
  EXPECT_EQ(board.hardware_trace(), Lines{"open /dev/ttyS1 = -1 ENODEV"});
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(Rs485PtzTest, WithoutTheIoDriverThePortStaysOpenAndTheErrorIsThatOfMinus1) {
  board.fault("open /dev/qznio EBUSY");
  expect_open({"/dev/ttyS1"});
  rs485_ptz_test();
  EXPECT_EQ(console.out(),
            kOpened + "<T1> ERR:open /dev/qznio failure!, info :Unknown error -1\nfail num = 2\n");
  EXPECT_EQ(console.err(), "");
  expect_fail("open /dev/qznio failure");
  EXPECT_EQ(sent(), "");
  EXPECT_EQ(board.now(), 0s);
}

TEST_F(Rs485PtzTest, ASpeedThatCannotBeSetIsSaidAndDoesNotMatter) {
  board.fault("tcgetattr #1");
  rs485_ptz_test();
  EXPECT_EQ(console.out(), kOpened +
                               "tcgetattr Input/output error\n<T1> ERR:rs485_test:tty_speed_set error\n" +
                               kBegin + repeated(kSent, 5) + end(0));
  expect_pass();
}

TEST_F(Rs485PtzTest, AModeThatCannotBeSetIsSaidAndDoesNotMatter) {
  board.fault("tcgetattr #2");
  rs485_ptz_test();
  EXPECT_EQ(console.out(), kOpened +
                               "tcgetattr Input/output error\n<T1> ERR:rs485_test:tty_parity_set error\n" +
                               kBegin + repeated(kSent, 5) + end(0));
  expect_pass();
}

TEST_F(Rs485PtzTest, SettingsThatAreNotTakenAreNotNoticed) {
  board.fault("tcsetattr");
  rs485_ptz_test();
  EXPECT_EQ(console.out(), kOpened + kBegin + repeated(kSent, 5) + end(0));
  expect_pass();
}

TEST_F(Rs485PtzTest, ATransmitterThatCannotBeEnabledIsSaidAndDoesNotMatter) {
  board.fault("ioctl /dev/qznio 0x4004680e");
  rs485_ptz_test();
  EXPECT_NE(console.out().find("<T1> ERR:Setting rs485 gpio[38] value[1] failure!\n" + kBegin),
            std::string::npos);
  expect_pass();
}

TEST_F(Rs485PtzTest, EachCommandThatIsNotSentCountsAndIsNotRestedAfter) {
  for (int number = 1; number <= 5; ++number) {
    SCOPED_TRACE(number);
    next_board();
    board.fault("write /dev/ttyS1 #" + std::to_string(number));
    rs485_ptz_test();
    EXPECT_EQ(console.out(), kOpened + kBegin + repeated(kSent, number - 1) + kNotSent +
                                 repeated(kSent, 5 - number) + end(1));
    EXPECT_EQ(board.now(), 8s);
  }
}

TEST_F(Rs485PtzTest, WhoeverFailsTellsTheStationOfSuccess) {
  board.fault("write /dev/ttyS1 #2");
  rs485_ptz_test();
  expect_fail("测试成功");
}

TEST_F(Rs485PtzTest, ShortAndInterruptedWritesCountEach) {
  board.fault("write /dev/ttyS1 #1 short 15");
  board.fault("write /dev/ttyS1 #2 EINTR");
  board.fault("write /dev/ttyS1 #3 result 0");
  rs485_ptz_test();
  EXPECT_EQ(console.out(), kOpened + kBegin + repeated(kNotSent, 3) + repeated(kSent, 2) + end(3));
  expect_fail("测试成功");
  EXPECT_EQ(sent(), kPtzCommand.substr(0, 15) + repeated(kPtzCommand, 2));
}

TEST_F(Rs485PtzTest, NothingSentAtAllTakesNoTime) {
  board.fault("write /dev/ttyS1");
  rs485_ptz_test();
  EXPECT_EQ(console.out(), kOpened + kBegin + repeated(kNotSent, 5) + end(5));
  expect_fail("测试成功");
  EXPECT_EQ(board.now(), 0s);
}

}  // namespace
