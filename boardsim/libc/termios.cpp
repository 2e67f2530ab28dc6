// Settings of terminals.
#include <termios.h>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"

using boardsim::Entered;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

extern "C" {

int tcgetattr(int fd, termios* settings) noexcept {
  const Entered board;
  return board ? calls::tcgetattr(*board, fd, settings) : real::tcgetattr(fd, settings);
}

int tcsetattr(int fd, int when, const termios* settings) noexcept {
  const Entered board;
  return board ? calls::tcsetattr(*board, fd, when, settings) : real::tcsetattr(fd, when, settings);
}

int tcflush(int fd, int queues) noexcept {
  const Entered board;
  return board ? calls::tcflush(*board, fd, queues) : real::tcflush(fd, queues);
}

}  // extern "C"
