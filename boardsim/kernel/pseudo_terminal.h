// A pseudo-terminal of the PC with the simulator at its controlling side.
#pragma once

#include <memory>
#include <string>

#include "boardsim/kernel/own_descriptor.h"

namespace boardsim {

/// The line stays up while nobody has the near side open, and keeps its settings.
class PseudoTerminal {
 public:
  /// Null with errno when the PC has none.
  static std::unique_ptr<PseudoTerminal> make();

  int far() const { return far_.get(); }    ///< controlling side, set not to block
  int near() const { return near_.get(); }  ///< terminal side, set not to block
  /// Closes the near side: from here on the far one is hung up while nobody else has it open.
  void hang_up() { near_.reset(); }
  /// At which others open the terminal side: "/dev/pts/3".
  const std::string& name() const { return name_; }

 private:
  PseudoTerminal(int far, int near, std::string name);

  OwnDescriptor far_, near_;
  std::string name_;
};

}  // namespace boardsim
