// A serial device of this PC: 8 data bits, no parity, 1 stop bit, nothing interpreted.
#pragma once

#include <termios.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "station/link/interrupt.h"

namespace t1station {

/// The termios code of a speed in bits per second. Throws UsageError for one that serial lines do not have.
speed_t speed_code(int speed);

/// The line is ours alone while this lives; its settings are put back at the end.
class SerialLine {
 public:
  /// Opens the device and sets it to `speed` bits per second; what has arrived before is thrown away. Throws
  /// UsageError as speed_code() does, and LinkError when the device cannot be opened, is used by another
  /// program, is no serial device or does not take the settings.
  SerialLine(const std::string& device, int speed, const Interrupt& interrupt);
  SerialLine(const SerialLine&) = delete;
  SerialLine& operator=(const SerialLine&) = delete;
  ~SerialLine();

  /// Throws LinkError when the device fails or takes nothing for 10 s.
  void send(std::string_view bytes) const;
  /// What arrives until there are `size` bytes, nothing has come for `seconds`, or the operator interrupts.
  /// Throws LinkError when the device is gone.
  std::string receive(std::size_t size, double seconds) const;

 private:
  bool is_ready(short events, double seconds) const;
  void configure(speed_t speed);
  [[noreturn]] void fail(const std::string& what) const;

  std::string device_;
  const Interrupt& interrupt_;
  int fd_;
  termios before_{};
};

}  // namespace t1station
