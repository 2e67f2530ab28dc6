// The station's part of the RS485 echo test, on a pseudo-terminal with a board at its other end.
#include "station/tools/rs485_echo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <thread>

#include "station/app/app.h"
#include "station/link/serial_line.h"
#include "tests/station/scripted_link.h"
#include "tests/station/serial_device.h"

namespace {

using namespace t1station;

const std::string kFirstFrame("\xD0\x01\x06\x0F\x11\x62\x80\x32\x34\x12\x78\x56\x9A\xBC\x75", 15);
const std::string kSecondFrame("\xD0\x01\x02\x07\x5A\xA5\xD9", 7);

class Rs485EchoTest : public testing::Test {
 protected:
  int run(const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments{"rs485-echo", device_};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run_app(arguments, {out_, err_, clock_, interrupt_, "2024-05-06T07:08:09"});
  }
  /// Runs the command while the board does this.
  int run_with(const std::function<void()>& board, const std::vector<std::string>& options = {}) {
    std::thread thread(board);
    const int code = run(options);
    thread.join();
    return code;
  }

  SerialDevice line_;
  std::string device_ = line_.path();
  ManualClock clock_;
  Interrupt interrupt_;
  std::ostringstream out_, err_;
};

TEST_F(Rs485EchoTest, ABoardThatEchoesGetsTheSecondFrame) {
  std::string sent;
  EXPECT_EQ(run_with([&] {
              sent = line_.heard(15);
              for (const char byte : sent) line_.say({&byte, 1});  // pieces are taken together
              sent += line_.heard(7);
            }),
            0);
  EXPECT_EQ(sent, kFirstFrame + kSecondFrame);
  EXPECT_EQ(out_.str(),
            "sent     d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75\n"
            "received d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75\n"
            "sent     d0 01 02 07 5a a5 d9\n"
            "the echo is right\n");
  EXPECT_EQ(err_.str(), "");
}

TEST_F(Rs485EchoTest, AnEchoThatDiffersOrHasAnotherLengthFails) {
  const std::string wrong = kFirstFrame.substr(0, 6) + '\x7F' + kFirstFrame.substr(7);
  const std::pair<std::string, const char*> echoes[] = {
      {wrong, "received d0 01 06 0f 11 62 7f 32 34 12 78 56 9a bc 75\nthe echo differs\n"},
      {kFirstFrame.substr(0, 14), " bc\nthe echo has another length\n"},
      {kFirstFrame + "x", " 75 78\nthe echo has another length\n"}};
  for (const auto& [echo, said] : echoes) {
    EXPECT_EQ(run_with(
                  [&, bytes = echo] {
                    line_.heard(15);
                    line_.say(bytes);
                  },
                  {"--timeout", echo.size() < 15 ? "0.05" : "20"}),
              1);
    EXPECT_THAT(out_.str(), testing::EndsWith(said));
  }
}

TEST_F(Rs485EchoTest, ABoardThatStaysSilentGivesExitCode6) {
  EXPECT_EQ(run({"--timeout", "0.01"}), 6);
  EXPECT_EQ(out_.str(),
            "sent     d0 01 06 0f 11 62 80 32 34 12 78 56 9a bc 75\n"
            "no echo: the board is not waiting for it, or the line is open or turned round\n");
  EXPECT_EQ(line_.heard(15), kFirstFrame) << "it was sent all the same";
}

TEST_F(Rs485EchoTest, WhatArrivedBeforeIsNotTheEcho) {
  line_.say_before_it_is_opened("old bytes");
  EXPECT_EQ(run_with([&] { line_.say(line_.heard(15)); }), 0);
}

TEST_F(Rs485EchoTest, TheOperatorCanEndTheWait) {
  EXPECT_EQ(run_with([&] {
              line_.heard(15);
              interrupt_.raise();
            }),
            2);
  EXPECT_TRUE(out_.str().ends_with("interrupted\n")) << out_.str();
}

TEST_F(Rs485EchoTest, ALineThatHangsUpGivesExitCode6) {
  EXPECT_EQ(run_with([&] {
              line_.heard(15);
              line_.hang_up();
            }),
            6);
  EXPECT_TRUE(err_.str().starts_with("t1station: " + device_ + " ")) << err_.str();
}

TEST_F(Rs485EchoTest, TheLineIsRaw8N1At38400WhileItIsUsedAndAsBeforeLater) {
  const termios before = line_.settings();
  termios during{};
  EXPECT_EQ(run_with([&] {
              const std::string frame = line_.heard(15);
              during = line_.settings();
              line_.say(frame);
              line_.heard(7);
            }),
            0);
  EXPECT_EQ(cfgetospeed(&during), B38400);
  EXPECT_EQ(cfgetispeed(&during), B38400);
  EXPECT_EQ(during.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), static_cast<tcflag_t>(CS8));
  EXPECT_EQ(during.c_lflag & (ICANON | ECHO | ISIG | IEXTEN), 0U);
  EXPECT_EQ(during.c_oflag & OPOST, 0U);
  EXPECT_EQ(during.c_iflag & (IXON | IXOFF | ICRNL | INLCR | IGNCR | ISTRIP), 0U);
  const termios after = line_.settings();
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  EXPECT_EQ(after.c_iflag, before.c_iflag);
  EXPECT_EQ(after.c_oflag, before.c_oflag);
  EXPECT_EQ(cfgetospeed(&after), cfgetospeed(&before));
}

TEST_F(Rs485EchoTest, AnotherSpeedCanBeAskedForAndOneThatLinesDoNotHaveIsAUsageError) {
  termios during{};
  run_with(
      [&] {
        line_.heard(15);
        during = line_.settings();
        line_.say(kFirstFrame);
      },
      {"--speed", "9600"});
  EXPECT_EQ(cfgetospeed(&during), B9600);
  EXPECT_EQ(run({"--speed", "38401"}), 4);
  EXPECT_TRUE(err_.str().starts_with(
      "t1station: --speed: 38401 bits per second is no speed of serial lines; those are 300 "))
      << err_.str();
  EXPECT_EQ(speed_code(115'200), B115200);
}

TEST_F(Rs485EchoTest, WhatIsNoSerialDeviceIsSaid) {
  const std::pair<const char*, const char*> devices[] = {
      {"/no/such/device", "cannot be opened: No such file or directory"},
      {"/tmp", "cannot be opened: Is a directory"},
      {"/dev/null", "is no serial device: Inappropriate ioctl for device"},
      {"/dev/zero", "is no serial device: Inappropriate ioctl for device"}};
  for (const auto& [path, reason] : devices) {
    err_.str("");
    device_ = path;
    EXPECT_EQ(run(), 6);
    EXPECT_EQ(err_.str(), "t1station: " + device_ + " " + reason + "\n");
  }
  EXPECT_EQ(out_.str(), "");
}

}  // namespace
