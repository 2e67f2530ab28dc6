// What the tests of the RS485 ports share: frames, what the ports are asked, a board whose ports nobody is
// wired to.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "t1_sdk/boardtest/platform/gpio.h"
#include "tests/harness/station_run.h"
#include "tests/peripheral/hardware_script.h"

namespace rs485 {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

/// The two test frames.
inline const std::string kFrameA("\xD0\x01\x06\x0F\x11\x62\x80\x32\x34\x12\x78\x56\x9A\xBC\x75", 15);
inline const std::string kFrameB("\xD0\x01\x02\x07\x5A\xA5\xD9", 7);
/// Two pan-and-tilt commands.
inline const std::string kPtzCommand("\xA0\x00\x00\x04\x1B\x00\xAF\x10\xA0\x00\x00\x00\x0F\x00\xAF\x00", 16);

/// What a healthy application's answer to the detector command prints.
inline const std::string kAnswered = "MAtest:CMD:20135181, maHeart:0, maStartOK:0x0\n";
inline const std::string kWaiting = "等待车检器检测线程停止...\n";

/// The bytes as the board prints them: in hexadecimal digits, a blank between two.
inline std::string printed(std::string_view bytes, bool leading_zeros = true) {
  std::string text;
  for (const char byte : bytes) {
    const unsigned value = static_cast<unsigned char>(byte);
    char digits[8];
    std::snprintf(digits, sizeof digits, "%x", value);
    if (!text.empty()) text += " ";
    if (leading_zeros && value < 0x10) text += "0";
    text += digits;
  }
  return text;
}

/// The low 8 bits of the bytes' sum.
inline char seal_of(std::string_view bytes) {
  unsigned sum = 0;
  for (const char byte : bytes) sum += static_cast<unsigned char>(byte);
  return static_cast<char>(sum);
}

/// The frame with its last byte made the sum of the others.
inline std::string sealed(std::string frame) {
  frame.back() = seal_of(std::string_view(frame).substr(0, frame.size() - 1));
  return frame;
}

/// A sealed frame of 5 to 255 bytes that tells its own length; what lies between is `filling`.
inline std::string frame_of(std::size_t length, char filling = '\x33') {
  std::string frame(length, filling);
  frame.replace(0, 4, {'\xD0', '\x01', '\x06', static_cast<char>(length)});
  return sealed(frame);
}

/// The only sealed frame of 4 bytes that begins with d0 01: its length is its checksum.
inline const std::string kShortestFrame("\xD0\x01\x33\x04", 4);

/// Replaces one byte.
inline std::string with_byte(std::string frame, std::size_t index, char byte) {
  frame.at(index) = byte;
  return frame;
}

inline std::string port(unsigned number) {
  return "/dev/uart" + std::to_string(number);
}

inline std::string failed(int code) {
  return "fail num = " + std::to_string(code) + "\n";
}

inline std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

/// What a test that uses the detector's ports asks of the hardware up to the opening of its ports.
inline HardwareScript opened_io() {
  HardwareScript script;
  script.open("/dev/qznio");
  script.wait(5020ms);  // the application's answer and the pause
  return script;
}

inline void open_port(HardwareScript& script, unsigned number, const char* baud = "38400") {
  script.open(port(number));
  script.call("ioctl " + port(number) + " 0x40045501 {" + baud + ", 3, 0, 0, 0} = 0");
}

inline void receive(HardwareScript& script, unsigned number, std::size_t size) {
  const std::string bytes = std::to_string(size);
  script.call("ioctl " + port(number) + " 0x80045502 {} = 0");
  script.call("read " + port(number) + " " + bytes + " = " + bytes);
}

inline void send(HardwareScript& script, unsigned number, std::size_t size) {
  const std::string bytes = std::to_string(size);
  script.call("write " + port(number) + " " + bytes + " = " + bytes);
}

}  // namespace rs485

/// A healthy board whose RS485 ports are wired to nothing: tests play what arrives there.
class Rs485Run : public StationRun {
 protected:
  explicit Rs485Run(std::string_view family = "normal") : StationRun(family) { unplug(); }
  ~Rs485Run() override { gpiofd = -1; }

  /// Goes on with another board.
  void next_board(std::string_view family = "normal") {
    StationRun::next_board(family);
    unplug();
  }
  /// The same on a fixture that wires the ports, with a fault if there is one.
  void next_board_on(std::string_view family, const std::string& fixture, const std::string& fault) {
    next_board(family);
    board->rs485.set_fixture(fixture);
    if (!fault.empty()) board.fault(fault);
  }
  /// Bytes reach a port at a virtual time.
  void arrive(std::chrono::milliseconds when, unsigned port, std::string bytes) {
    board.at(when, [this, port, bytes = std::move(bytes)] { board->uart(port).receive(bytes); });
  }
  void expect_reply(const std::string& value, const std::string& description) {
    ::expect_reply(station, 1024, "RS485测试", value, description);
  }
  void expect_pass() { expect_reply("Pass", "测试成功"); }
  void expect_fail(const std::string& description) { expect_reply("Fail", description); }
  /// How often a call stands in the trace.
  std::size_t count(const std::string& call) const {
    return static_cast<std::size_t>(std::ranges::count(board.hardware_trace(), call));
  }
  /// The detector was stopped and is not started again; every node was opened for reading and writing.
  void expect_detector_stopped_and_nodes_opened_both_ways() const {
    EXPECT_EQ(board->application.commands(),
              (std::vector<boardsim::Application::Command>{{12, 0x1333D0D, 0}}));
    expect_opened_both_ways();
  }
  void expect_opened_both_ways() const {
    for (const boardsim::Call& call : board.trace()) {
      if (call.name == "open") {
        EXPECT_EQ(call.record.at(0) & O_ACCMODE, static_cast<unsigned>(O_RDWR)) << call.node;
      }
    }
    EXPECT_GE(calls("open"), 2U);
  }

 private:
  void unplug() {
    board->rs485.set_fixture("none");
    board.clear_trace();
  }
};
