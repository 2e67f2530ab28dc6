// The board's console as a serial device of the PC, for a station or a person that reads it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "boardsim/kernel/pseudo_terminal.h"

namespace boardsim {

/// A line that waits for nobody: what is printed while nobody has the device open, or faster than it is read,
/// is lost. What is typed there reaches nobody.
class ConsoleDevice {
 public:
  /// At `path`, in the way and with the exceptions of offer_device().
  explicit ConsoleDevice(const std::string& path);

  /// Prints the program's bytes, with the line ends of a serial console, CR and LF.
  void print(std::string_view bytes) const;
  /// Waits until nobody has the device open any more, at most two seconds: the adapter at the end of a
  /// board's console does not vanish with the board.
  void wait_for_readers() const;

 private:
  bool is_open(int patience_ms) const;

  std::shared_ptr<PseudoTerminal> terminal_;
};

}  // namespace boardsim
