// What a test should ask of the hardware, written down call by call with the waits between.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

/// Grows into the lines of Board::timed_hardware_trace(), from time 0 on, in the order of the calls.
class HardwareScript {
 public:
  using Lines = std::vector<std::string>;

  HardwareScript& wait(std::chrono::milliseconds span) {
    now_ += span;
    return *this;
  }
  HardwareScript& call(const std::string& text) {
    lines_.push_back(time() + " " + text);
    return *this;
  }
  HardwareScript& open(const std::string& node) { return call("open " + node + " = ok"); }
  HardwareScript& close(const std::string& node) { return call("close " + node + " = 0"); }
  /// The board asks who it is.
  HardwareScript& query() {
    return open("/dev/qznio").call("ioctl /dev/qznio 0x80044801 {} = 0").close("/dev/qznio");
  }

  /// Writes an FPGA register.
  HardwareScript& fpga(std::uint32_t address, std::uint32_t value) {
    return call("ioctl /dev/fpga 0x40044603 {" + word(address) + ", " + word(value) + "} = 0");
  }
  /// Makes a GPIO line an input, an output at a level, drives it, reads it.
  HardwareScript& input(unsigned line) {
    return call("ioctl /dev/qznio 0x40044701 {" + word(line) + "} = 0");
  }
  HardwareScript& output(unsigned line, unsigned level) { return gpio("0x40044702", line, level); }
  HardwareScript& drive(unsigned line, unsigned level) { return gpio("0x40044704", line, level); }
  HardwareScript& read(unsigned line) { return gpio("0x80044703", line, 0); }
  HardwareScript& read(const std::vector<unsigned>& lines) {
    for (const unsigned line : lines) read(line);
    return *this;
  }
  /// Input lines, each read after a question of its own who the board is.
  HardwareScript& query_and_read(const std::vector<unsigned>& lines) {
    for (const unsigned line : lines) query().read(line);
    return *this;
  }
  /// Eight alarm inputs, or the ten of 65xx boards, after the question which of them it is: a line that other
  /// boards have elsewhere is read after a question of its own.
  HardwareScript& read_eight() {
    return query().query_and_read({74, 76, 77, 78}).read({20, 17, 15}).query_and_read({94});
  }
  HardwareScript& read_ten() {
    return query().query_and_read({74, 76, 77, 78}).read({20, 17, 15, 8, 59, 94});
  }
  /// Switches the test control of the I/O driver.
  HardwareScript& test_control(unsigned on) {
    return call("ioctl /dev/qznitc 0x0000888b {" + word(on) + "} = 0");
  }
  /// Sets all alarm outputs, one bit each, on a descriptor of the alarm driver that is open; reads them back.
  HardwareScript& outputs(std::uint32_t state) {
    return call("ioctl /dev/alarm 0x40044101 {0x46554c4c, " + word(state) + ", 0} = 0");
  }
  HardwareScript& read_outputs() { return call("ioctl /dev/alarm 0x80044102 {0x46554c4c, 0, 0} = 0"); }

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
  HardwareScript& gpio(const std::string& request, unsigned line, unsigned level) {
    return call("ioctl /dev/qznio " + request + " {" + word(line) + ", " + word(level) + "} = 0");
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
