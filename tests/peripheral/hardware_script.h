// What a test should ask of the hardware, written down call by call with the waits between.
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "boardsim/board.h"

/// Grows into the lines of Board::timed_hardware_trace(), from time 0 on.
class HardwareScript {
 public:
  using Lines = std::vector<std::string>;

  void wait(std::chrono::milliseconds span) { now_ += span; }
  void call(const std::string& text) { lines_.push_back(time() + " " + text); }
  void calls(const Lines& texts) {
    for (const std::string& text : texts) call(text);
  }
  void open(const std::string& node) { call("open " + node + " = ok"); }
  void close(const std::string& node) { call("close " + node + " = 0"); }

  /// Writes an FPGA register.
  void fpga(std::uint32_t address, std::uint32_t value) {
    call("ioctl /dev/fpga 0x40044603 {" + word(address) + ", " + word(value) + "} = 0");
  }
  /// Makes a GPIO line an input, an output at a level, drives it, reads it.
  void input(unsigned line) { call("ioctl /dev/qznio 0x40044701 {" + word(line) + "} = 0"); }
  void output(unsigned line, unsigned level) { gpio("0x40044702", line, level); }
  void drive(unsigned line, unsigned level) { gpio("0x40044704", line, level); }
  void read(unsigned line) { gpio("0x80044703", line, 0); }
  /// Switches the test control of the I/O driver.
  void test_control(unsigned on) { call("ioctl /dev/qznitc 0x0000888b {" + word(on) + "} = 0"); }

  const Lines& lines() const { return lines_; }

  /// A word as traces show it: small ones in decimal, addresses and masks in hexadecimal.
  static std::string word(std::uint32_t value) {
    const auto as_signed = static_cast<std::int32_t>(value);
    if (as_signed > -65536 && as_signed < 65536) return std::to_string(as_signed);
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
  }

 private:
  void gpio(const std::string& request, unsigned line, unsigned level) {
    call("ioctl /dev/qznio " + request + " {" + word(line) + ", " + word(level) + "} = 0");
  }
  std::string time() const {
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%03lld000", static_cast<long long>(now_.count() / 1000),
                  static_cast<long long>(now_.count() % 1000));
    return text;
  }

  std::chrono::milliseconds now_{};
  Lines lines_;
};

/// What a function that is handed a descriptor of a node asks of the hardware when called alone.
template <class Function>
std::vector<std::string> calls_of(boardsim::Board& board, const char* node, Function function) {
  const int fd = ::open(node, O_RDWR);
  board.clear_trace();
  function(fd);
  std::vector<std::string> calls = board.hardware_trace();
  ::close(fd);
  board.clear_trace();
  return calls;
}
