// A board's console on a serial device of this PC.
#pragma once

#include <string>

#include "station/link/serial_line.h"
#include "station/run/slot.h"

namespace t1station {

/// Read only: nothing is ever typed at a board.
class SerialConsole final : public BoardConsole {
 public:
  /// Throws as SerialLine does.
  SerialConsole(const std::string& device, int speed, const Interrupt& interrupt)
      : line_(device, speed, interrupt) {}

  std::string take() override { return line_.receive(kMostConsole, 0); }

 private:
  SerialLine line_;
};

}  // namespace t1station
