// Where a replay begins and ends: around the program's main.
#include <cstdlib>
#include <exception>

#include "boardrec/replay/next.h"
#include "boardrec/replay/turns.h"

extern "C" {
using Main = int(int, char**, char**);
int __libc_start_main(Main* main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loader_fini)(), void* stack_end);
}

namespace {

using namespace boardrec;

Main* program_main = nullptr;
bool asked_for = false;
int exit_status = 0;

void finish() {
  if (asked_for) finish_replay(exit_status);
}

int replayed_main(int argc, char** argv, char** environment) {
  if (asked_for) {
    std::atexit(finish);
    begin_replay();
  }
  exit_status = program_main(argc, argv, environment);
  return exit_status;
}

[[gnu::constructor]] void load() {
  const char* const file = std::getenv("BOARDREPLAY");
  if (file == nullptr) return;
  const char* const speed = std::getenv("BOARDREPLAY_SPEED");
  try {
    load_replay(file, speed != nullptr ? std::atof(speed) : 0);
  } catch (const std::exception& error) {
    fail_replay(error.what());
  }
  asked_for = true;
}

}  // namespace

extern "C" int __libc_start_main(Main* main, int argc, char** argv, void (*init)(), void (*fini)(),
                                 void (*loader_fini)(), void* stack_end) {
  program_main = main;
  BOARDREC_PASS_ON(__libc_start_main, replayed_main, argc, argv, init, fini, loader_fini, stack_end);
}

// Past what is registered for the end: the replay's end is told here.
extern "C" void _exit(int status) {
  if (asked_for) finish_replay(status);
  static auto* const behind = next<void(int)>("_exit");
  behind(status);
  __builtin_unreachable();
}

extern "C" void exit(int status) noexcept {
  if (is_replayed()) exit_status = status;
  static auto* const behind = next<void(int)>("exit");
  behind(status);
  __builtin_unreachable();
}
