// Shell commands and restarts, as they were recorded: nothing is started, nothing restarts. And random
// numbers, which another C library makes otherwise.
#include <sys/reboot.h>
#include <unistd.h>

#include <cstdlib>

#include "boardrec/replay/next.h"
#include "boardrec/replay/turns.h"

using boardrec::Call;
using boardrec::Handed;
using boardrec::is_replayed;
using boardrec::next_answer;
using boardrec::returned_int;

extern "C" {

int system(const char* command) {
  if (!is_replayed()) BOARDREC_PASS_ON(system, command);
  return returned_int(next_answer(Call::system, {Handed::text(command)}));
}

int reboot(int command) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(reboot, command);
  return returned_int(next_answer(Call::reboot, {Handed::of(command)}));
}

// A child is another program: nothing of it was recorded.
pid_t fork() noexcept {
  static auto* const behind = boardrec::next<decltype(fork)>("fork");
  const pid_t child = behind();
  if (child == 0) boardrec::leave_replay();
  return child;
}

long random() noexcept {
  if (!is_replayed() || !boardrec::is_of_version(boardrec::kVersionWithRandom)) BOARDREC_PASS_ON(random);
  return boardrec::returned(next_answer(Call::random, {}));
}

}  // extern "C"
