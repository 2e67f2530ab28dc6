// Commands and restarts, and random numbers.
#include <stdlib.h>
#include <sys/reboot.h>
#include <unistd.h>

#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"

using boardrec::Call;
using boardrec::Entry;

BOARDREC_NEXT(system);
BOARDREC_NEXT(reboot);
BOARDREC_NEXT(fork);
BOARDREC_NEXT(random);

#pragma GCC visibility push(default)
extern "C" {

int system(const char* command) {
  Entry entry(Call::system);
  if (!entry) return next_system(command);
  const int result = entry.make_cancellable([=] { return next_system(command); });
  entry.in_text(command);
  return entry.end(result);
}

int reboot(int command) noexcept {
  Entry entry(Call::reboot);
  if (!entry) return next_reboot(command);
  entry.in(static_cast<std::int64_t>(static_cast<std::uint32_t>(command)));
  entry.announce();
  return entry.end(entry.make([=] { return next_reboot(command); }));
}

long random() noexcept {
  Entry entry(Call::random);
  if (!entry) return next_random();
  return entry.end(entry.make([] { return next_random(); }));
}

// A child is another program: its calls are not recorded.
pid_t fork() noexcept {
  const pid_t child = next_fork();
  if (child == 0) boardrec::end_recording();
  return child;
}

}  // extern "C"
#pragma GCC visibility pop
