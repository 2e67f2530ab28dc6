// The station's part of the RS485 echo test, on a serial device of this PC.
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "station/link/interrupt.h"
#include "station/link/serial_line.h"
#include "station/run/slot.h"

namespace t1station {

/// What the operator asked for.
struct Rs485Echo {
  std::string device;  ///< "/dev/ttyUSB0"
  int speed = 38400;   ///< bits per second
  double timeout = 5;  ///< seconds without a byte after which the echo is over
};

/// How an echo test ended.
enum class Echoed { right, wrong, interrupted, nothing };

/// Sends a frame of 15 bytes, compares what comes back with it, and then sends a frame of 7 bytes (what the
/// board says of that one is in its own reply). Prints what goes out and comes in. Throws as SerialLine does.
Echoed rs485_echo(const Rs485Echo& wanted, const Interrupt& interrupt, std::ostream& out);

/// The same while a runner asks the board for the test: the frame goes out six seconds after the request:
/// after five the board opens its port.
class Rs485Partner final : public EchoPartner {
 public:
  /// `speed` is how many times as fast as a real one the board runs. Throws as SerialLine does.
  Rs485Partner(const std::string& device, double speed, const Interrupt& interrupt);

  void begin() override;
  void tick(double elapsed) override;
  bool is_right() const override { return is_right_; }
  std::string words() const override;

 private:
  SerialLine line_;
  double begins_;         ///< seconds behind the request at which the frame goes out
  bool is_sent_ = false;  ///< the frame has gone out
  bool is_right_ = false;
  std::string echo_;
  std::string words_;
};

}  // namespace t1station
