// Settings of terminals: the board's own, and those of the PC on which a program has its console.
#include <termios.h>

#include <cerrno>

#include "boardsim/board/state.h"
#include "boardsim/kernel/real.h"

namespace boardsim {
namespace {

/// Bytes are under way inside the PC for a moment. Looking at the terminal ends that, so that what was sent
/// before a call is there when it is made.
void let_arrive(int fd) {
  pollfd look{fd, POLLIN, 0};
  real::poll(&look, 1UL, 0);
}

}  // namespace

int BoardState::terminal_call(const char* name, int fd, std::vector<std::uint32_t> record,
                              const std::function<int()>& perform) {
  let_arrive(fd);
  std::optional<FaultyCall> faulty;
  {
    const std::lock_guard lock(mutex);
    faulty = call_faults.meet(name);
    if (const Descriptor* const node = descriptors.find_node(fd)) {
      Call call = begin(name, node->name, std::move(record));
      const int result = faulty ? -1 : perform();
      const int error = faulty ? faulty->error : errno;
      return static_cast<int>(finish(std::move(call), Subject::hardware, result, result < 0 ? error : 0));
    }
  }
  if (!faulty) return perform();
  return errno = faulty->error, -1;
}

int BoardState::tcgetattr(int fd, termios* settings) {
  return terminal_call("tcgetattr", fd, {}, [&] { return real::tcgetattr(fd, settings); });
}

int BoardState::tcsetattr(int fd, int when, const termios* settings) {
  return terminal_call("tcsetattr", fd, {static_cast<std::uint32_t>(when)},
                       [&] { return real::tcsetattr(fd, when, settings); });
}

int BoardState::tcflush(int fd, int queues) {
  return terminal_call("tcflush", fd, {static_cast<std::uint32_t>(queues)},
                       [&] { return real::tcflush(fd, queues); });
}

}  // namespace boardsim
