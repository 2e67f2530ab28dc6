// Terminals, as they were recorded.
#include <termios.h>

#include <algorithm>
#include <cstring>

#include "boardrec/replay/next.h"
#include "boardrec/replay/turns.h"

using boardrec::Call;
using boardrec::Handed;
using boardrec::is_replayed;
using boardrec::next_answer;
using boardrec::Record;
using boardrec::returned_int;
using boardrec::TerminalSettings;

extern "C" {

int tcgetattr(int fd, termios* settings) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(tcgetattr, fd, settings);
  const Record& record = next_answer(Call::tcgetattr, {Handed::of(fd)});
  if (record.result == 0 && settings != nullptr) {
    TerminalSettings from{};
    give(record.out.front(), &from, sizeof from);
    settings->c_iflag = from.input;
    settings->c_oflag = from.output;
    settings->c_cflag = from.control;
    settings->c_lflag = from.local;
    std::copy_n(from.characters, std::min(sizeof from.characters, sizeof settings->c_cc), settings->c_cc);
    cfsetispeed(settings, from.input_speed);
    cfsetospeed(settings, from.output_speed);
    settings->c_cflag = from.control;
  }
  return returned_int(record);
}

int tcsetattr(int fd, int when, const termios* settings) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(tcsetattr, fd, when, settings);
  const boardrec::Given<termios> given(settings);
  const termios& its = *given;
  TerminalSettings now{.input = its.c_iflag,
                       .output = its.c_oflag,
                       .control = its.c_cflag,
                       .local = its.c_lflag,
                       .input_speed = cfgetispeed(&its),
                       .output_speed = cfgetospeed(&its),
                       .characters = {}};
  std::copy_n(its.c_cc, std::min(sizeof now.characters, sizeof its.c_cc), now.characters);
  return returned_int(next_answer(Call::tcsetattr, {Handed::of(fd), Handed::of(when),
                                                    given ? Handed::of(&now, sizeof now) : given.missing()}));
}

int tcflush(int fd, int queue) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(tcflush, fd, queue);
  return returned_int(next_answer(Call::tcflush, {Handed::of(fd), Handed::of(queue)}));
}

}  // extern "C"
