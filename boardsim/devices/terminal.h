// /dev/ttyS1: the board's serial terminal, a pseudo-terminal of the PC.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "boardsim/devices/device.h"
#include "boardsim/kernel/pseudo_terminal.h"
#include "boardsim/kernel/time.h"

namespace boardsim {

/// How long a read on a terminal of the PC waits for its first byte as the terminal is set now (VMIN 0,
/// VTIME). Nothing when it waits for ever, and for what is no terminal. Leaves errno as it is.
std::optional<Time> terminal_read_limit(int fd);

/// Settings, line editing and echo are the PC's own. Its requests are those of termios and FIONREAD. The line
/// to the far end has no speed: bytes are there at once, and lost when nobody has read the last thousands.
class Terminal : public Device {
 public:
  /// The far end, set not to block; made when it is first asked for. -1 with errno when the PC has none.
  int far_end();

  /// Fails as the PC's pseudo-terminals do.
  Answer open(int flags) override;
  int descriptor(int flags) override;
  std::span<const Request> requests() const override;
  /// EAGAIN while a read would wait.
  Answer read(void* buffer, std::size_t size, off64_t& position) override;
  Answer write(const void* buffer, std::size_t size, off64_t& position) override;
  std::optional<Time> read_limit() const override;

 private:
  Answer answer(const Request& request, void* argument) override;
  std::unique_ptr<PseudoTerminal> line_{};
};

}  // namespace boardsim
