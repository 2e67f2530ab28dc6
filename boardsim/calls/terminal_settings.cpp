// Settings of terminals: the board's own, and those of the PC on which a program has its console.
#include <termios.h>

#include <cerrno>

#include "boardsim/calls/calls.h"
#include "boardsim/calls/frame.h"
#include "boardsim/kernel/real.h"

namespace boardsim::calls {
namespace {

/// Bytes are under way inside the PC for a moment. Looking at the terminal ends that, so that what was sent
/// before a call is there when it is made.
void let_arrive(int fd) {
  pollfd look{fd, POLLIN, 0};
  real::poll(&look, 1UL, 0);
}

int on_terminal(BoardState& board, const char* name, int fd, std::vector<std::uint32_t> record,
                const std::function<int()>& perform) {
  let_arrive(fd);
  if (!is_node(board, fd)) {  // a terminal of the PC: not in the trace
    std::optional<FaultyCall> faulty;
    {
      const Locked lock(board.mutex);
      faulty = board.call_faults.meet(name);
    }
    if (!faulty) return perform();
    return errno = faulty->error, -1;
  }
  Frame call(board, Subject::hardware, name, "", std::move(record));
  const Descriptor* const node = board.descriptors.find_node(fd);
  if (node == nullptr) return call.fail(EBADF);  // another thread has closed it meanwhile
  call.set_node(node->name);
  if (const auto faulty = call.meet(name)) return call.end(*faulty);
  const int result = perform();
  return call.end(result, result < 0 ? errno : 0);
}

}  // namespace

int tcgetattr(BoardState& board, int fd, termios* settings) {
  return on_terminal(board, "tcgetattr", fd, {}, [&] { return real::tcgetattr(fd, settings); });
}

int tcsetattr(BoardState& board, int fd, int when, const termios* settings) {
  return on_terminal(board, "tcsetattr", fd, {static_cast<std::uint32_t>(when)},
                     [&] { return real::tcsetattr(fd, when, settings); });
}

int tcflush(BoardState& board, int fd, int queues) {
  return on_terminal(board, "tcflush", fd, {static_cast<std::uint32_t>(queues)},
                     [&] { return real::tcflush(fd, queues); });
}

}  // namespace boardsim::calls
