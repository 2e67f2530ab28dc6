// A serial device of the PC that leads to the simulated board.
#pragma once

#include <memory>
#include <string>

#include "boardsim/kernel/pseudo_terminal.h"

namespace boardsim {

/// A new pseudo-terminal, set raw, whose name is left at `path` as a symbolic link; one that leads nowhere
/// any more is replaced. Throws std::runtime_error, which names the option that asked for it, when something
/// stands at `path` already, or nothing can be made there.
std::shared_ptr<PseudoTerminal> offer_device(const std::string& option, const std::string& path);

}  // namespace boardsim
