// What a loopback test should ask of the hardware, as a chain of calls.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/peripheral/hardware_script.h"

/// Builds the timed trace of a run in the order of its calls.
class AlarmScript {
 public:
  AlarmScript& wait_ms(int time) {
    script_.wait(std::chrono::milliseconds(time));
    return *this;
  }
  AlarmScript& open(const std::string& node) {
    script_.open(node);
    return *this;
  }
  AlarmScript& close(const std::string& node) {
    script_.close(node);
    return *this;
  }
  AlarmScript& control(unsigned on) {
    script_.test_control(on);
    return *this;
  }
  AlarmScript& fpga(std::uint32_t address, std::uint32_t value) {
    script_.fpga(address, value);
    return *this;
  }
  /// All alarm outputs, one bit each, on a descriptor that is open.
  AlarmScript& outputs(std::uint32_t state) {
    script_.call("ioctl /dev/alarm 0x40044101 {0x46554c4c, " + HardwareScript::word(state) + ", 0} = 0");
    return *this;
  }
  AlarmScript& read_line(unsigned line) {
    script_.read(line);
    return *this;
  }
  /// The board asks who it is.
  AlarmScript& query() {
    open("/dev/qznio");
    script_.call("ioctl /dev/qznio 0x80044801 {} = 0");
    return close("/dev/qznio");
  }
  /// Input lines, each read after a query of its own.
  AlarmScript& query_and_read(const std::vector<unsigned>& lines) {
    for (const unsigned line : lines) query().read_line(line);
    return *this;
  }

  const std::vector<std::string>& lines() const { return script_.lines(); }

 private:
  HardwareScript script_;
};
