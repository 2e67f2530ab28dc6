// The station's part of the RS485 echo test, on a serial device of this PC.
#pragma once

#include <ostream>
#include <string>

#include "station/link/interrupt.h"

namespace t1station {

/// What the operator asked for.
struct Rs485Echo {
  std::string device;  ///< "/dev/ttyUSB0"
  int speed = 38400;   ///< bits per second
  double timeout = 5;  ///< seconds without a byte after which the echo is over
};

/// Sends a frame of 15 bytes, compares what comes back with it, and then sends a frame of 7 bytes. Prints
/// what goes out and comes in. Returns an exit code: 0 when the echo was right (what the board says of the
/// second frame is in its own reply), 1 when it was not, 2 when interrupted, 6 when nothing came back. Throws
/// as SerialLine does.
int rs485_echo(const Rs485Echo& wanted, const Interrupt& interrupt, std::ostream& out);

}  // namespace t1station
