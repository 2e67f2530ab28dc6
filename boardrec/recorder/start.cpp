// Where a recording begins and ends: around the program's main.
#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <cstring>

#include "boardrec/memory/copies.h"
#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/file.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/session.h"
#include "boardrec/recorder/text.h"

extern "C" {
using Main = int(int, char**, char**);
int __libc_start_main(Main* main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loader_fini)(), void* stack_end);
int __cxa_atexit(void (*function)(void*), void* argument, void* library);
}

BOARDREC_NEXT(__libc_start_main);
BOARDREC_NEXT(clock_gettime);
BOARDREC_NEXT(exit);
BOARDREC_NEXT(_exit);

namespace boardrec {
namespace {

constexpr std::uint64_t kUsualLimit = 32 << 20;

constinit std::uint64_t began = 0;
constinit int exit_status = 0;
constinit Main* program_main = nullptr;
constinit bool asked_for = false;
constinit long process = 0;

/// Takes this library out of the list of those in front, so that programs which this one starts are not
/// recorded; the others stay.
void leave_preload_list() {
  char* const list = getenv("LD_PRELOAD");
  Dl_info own{};
  if (list == nullptr || dladdr(reinterpret_cast<const void*>(&leave_preload_list), &own) == 0) return;
  const char* const slash = std::strrchr(own.dli_fname, '/');
  const char* const name = slash != nullptr ? slash + 1 : own.dli_fname;
  const std::size_t name_size = std::strlen(name);
  char* to = list;
  for (const char* word = list; *word != '\0';) {
    const std::size_t size = std::strcspn(word, ": ");
    const std::size_t separator = word[size] != '\0' ? 1 : 0;
    const bool is_own = size >= name_size && std::memcmp(word + size - name_size, name, name_size) == 0 &&
                        (size == name_size || word[size - name_size - 1] == '/');
    if (!is_own && size > 0) {
      if (to != list) *to++ = ':';
      std::memmove(to, word, size);
      to += size;
    }
    word += size + separator;
  }
  *to = '\0';
  if (to == list) unsetenv("LD_PRELOAD");
}

/// Bytes; the usual number for what is none, which is said.
std::uint64_t limit_of(const char* text) {
  constexpr std::uint64_t kMost = std::uint64_t{1} << 40;
  std::uint64_t limit = 0;
  if (text == nullptr) return kUsualLimit;
  const char* at = text;
  for (; *at >= '0' && *at <= '9' && limit < kMost; ++at)
    limit = limit * 10 + static_cast<std::uint64_t>(*at - '0');
  if (at != text && (*at == '\0' || limit >= kMost)) return limit;
  tell("BOARDRECORD_LIMIT is no number of bytes, the limit is 33554432: ", text, 0);
  return kUsualLimit;
}

/// BOARDRECORD, with the process's number for the first %p: a program that is started again keeps what came
/// before.
const char* file_name(const char* pattern) {
  static char name[4096];
  const char* const mark = std::strstr(pattern, "%p");
  Text number;
  number.add(process);
  if (mark == nullptr || std::strlen(pattern) + number.size() > sizeof name) return pattern;
  char* end = name;
  const auto add = [&end](const char* from, std::size_t size) {
    std::memcpy(end, from, size);
    end += size;
  };
  add(pattern, static_cast<std::size_t>(mark - pattern));
  add(number.text(), number.size());
  add(mark + 2, std::strlen(mark + 2) + 1);
  return name;
}

std::uint64_t real_time() {
  timespec time{};
  next_clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(time.tv_nsec);
}

/// The program's file and its arguments, which stand one behind the other.
void write_start(int argc, char** argv) {
  static char file[4096];
  const long size = kernel::call(SYS_readlinkat, AT_FDCWD, kernel::word("/proc/self/exe"), kernel::word(file),
                                 sizeof file - 1);
  // A loader that was started by hand is not the program.
  const char* const slash = std::strrchr(file, '/');
  if (size <= 0 || std::strncmp(slash != nullptr ? slash + 1 : file, "ld-", 3) == 0)
    std::strncpy(file, argc > 0 ? argv[0] : "", sizeof file - 1);
  const char* const first = argc > 0 ? argv[0] : "";
  const char* const last = argc > 0 ? argv[argc - 1] + std::strlen(argv[argc - 1]) + 1 : first;
  Body body{};
  body.call = static_cast<std::uint16_t>(Call::start);
  Items in;
  in.add({.kind = Item::Kind::text, .pointer = file});
  in.add({.kind = Item::Kind::own, .pointer = first, .size = static_cast<std::uint32_t>(last - first)});
  const kernel::Locked lock(shared);
  write_record(body, in, Items(), true);
}

/// Runs when the program ends by itself.
void finish(void*) {
  // Between vfork and exec, a child is in this memory too.
  if (!recording() || this_thread.depth > 0 || kernel::call(SYS_getpid) != process) return;
  ++this_thread.depth;
  Body body{};
  body.call = static_cast<std::uint16_t>(Call::finish);
  body.thread = static_cast<std::uint16_t>(this_thread.number < 0 ? 0 : this_thread.number);
  Items in;
  in.add({.kind = Item::Kind::number, .number = exit_status});
  {
    const kernel::Locked lock(shared);
    body.began = body.ended = now();
    write_record(body, in, Items(), true);
    end_recording();
  }
  --this_thread.depth;
}

int recorded_main(int argc, char** argv, char** environment) {
  if (asked_for) {
    const int error = errno;
    ++this_thread.depth;
    const char* const name = getenv("BOARDRECORD");
    process = kernel::call(SYS_getpid);
    began = monotonic();
    if (begin_file(file_name(name), limit_of(getenv("BOARDRECORD_LIMIT")), real_time(), began)) {
      write_start(argc, argv);
    }
    unsetenv("BOARDRECORD");
    unsetenv("BOARDRECORD_LIMIT");
    // Behind what main registers, before what was there when it began: a recording ends where it began.
    if (recording()) __cxa_atexit(finish, nullptr, nullptr);
    this_thread = {recording() ? 0 : -1, 0};
    errno = error;
  }
  exit_status = program_main(argc, argv, environment);
  return exit_status;
}

}  // namespace

std::uint64_t recording_began() {
  return began;
}

}  // namespace boardrec

#pragma GCC visibility push(default)
extern "C" {

int __libc_start_main(Main* main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loader_fini)(), void* stack_end) {
  using namespace boardrec;
  program_main = main;
  leave_preload_list();
  const char* const name = getenv("BOARDRECORD");
  asked_for = name != nullptr && *name != '\0';
  return next___libc_start_main(recorded_main, argc, argv, init, fini, loader_fini, stack_end);
}

void exit(int status) noexcept {
  if (boardrec::this_thread.depth == 0) boardrec::exit_status = status;
  next_exit(status);
  __builtin_unreachable();
}

void _exit(int status) {
  if (boardrec::this_thread.depth == 0) boardrec::exit_status = status;
  if (boardrec::this_thread.number >= 0) boardrec::finish(nullptr);
  next__exit(status);
  __builtin_unreachable();
}

void _Exit(int status) noexcept {
  _exit(status);
}
}
#pragma GCC visibility pop
