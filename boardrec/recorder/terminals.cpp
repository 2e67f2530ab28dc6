// Settings of terminals.
#include <termios.h>

#include <algorithm>
#include <cstring>

#include "boardrec/memory/copies.h"
#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"

using boardrec::Call;
using boardrec::Entry;

BOARDREC_NEXT(tcgetattr);
BOARDREC_NEXT(tcsetattr);
BOARDREC_NEXT(tcflush);

namespace {

boardrec::TerminalSettings settings_of(const termios& from) {
  boardrec::TerminalSettings settings{};
  settings.input = from.c_iflag;
  settings.output = from.c_oflag;
  settings.control = from.c_cflag;
  settings.local = from.c_lflag;
  settings.input_speed = from.c_ispeed;
  settings.output_speed = from.c_ospeed;
  std::memcpy(settings.characters, from.c_cc, std::min(sizeof settings.characters, sizeof from.c_cc));
  return settings;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int tcgetattr(int fd, termios* to) noexcept {
  const auto function = [=] { return next_tcgetattr(fd, to); };
  Entry entry(Call::tcgetattr);
  if (!entry) return function();
  entry.in(fd);
  const int result = entry.make(function);
  boardrec::TerminalSettings settings{};
  if (result == 0 && to != nullptr) {
    settings = settings_of(*to);
    entry.out_own(&settings, sizeof settings);
  }
  return entry.end(result);
}

int tcsetattr(int fd, int when, const termios* from) noexcept {
  const auto function = [=] { return next_tcsetattr(fd, when, from); };
  Entry entry(Call::tcsetattr);
  if (!entry) return function();
  entry.in(fd);
  entry.in(when);
  const int result = entry.make(function);
  termios copy{};
  boardrec::TerminalSettings settings{};
  bool there = from != nullptr;
  if (there) {
    const boardrec::kernel::Locked lock(boardrec::shared);
    there = boardrec::copy_block(from, &copy, sizeof copy);
  }
  if (there) {
    settings = settings_of(copy);
    entry.in_own(&settings, sizeof settings);
  } else if (from != nullptr) {
    entry.flag(boardrec::kNotRecorded);
  }
  return entry.end(result);
}

int tcflush(int fd, int queue) noexcept {
  const auto function = [=] { return next_tcflush(fd, queue); };
  Entry entry(Call::tcflush);
  if (!entry) return function();
  entry.in(fd);
  entry.in(queue);
  return entry.end(entry.make(function));
}

}  // extern "C"
#pragma GCC visibility pop
