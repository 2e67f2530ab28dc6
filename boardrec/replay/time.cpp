// Clocks and sleeps, as they were recorded: nobody waits but for the moment at which it happened.
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "boardrec/replay/next.h"
#include "boardrec/replay/times.h"
#include "boardrec/replay/turns.h"

using boardrec::Call;
using boardrec::Handed;
using boardrec::is_replayed;
using boardrec::next_answer;
using boardrec::Record;
using boardrec::returned_int;
using boardrec::span;

namespace {

void give_time(const Record& record, timespec* to) {
  if (to != nullptr && record.out.front().type == boardrec::ValueType::number)
    *to = boardrec::to_timespec(record.out.front().number);
}

}  // namespace

extern "C" {

unsigned sleep(unsigned seconds) {
  if (!is_replayed()) BOARDREC_PASS_ON(sleep, seconds);
  return static_cast<unsigned>(returned(next_answer(Call::sleep, {Handed::of(std::int64_t{seconds})})));
}

int usleep(useconds_t microseconds) {
  if (!is_replayed()) BOARDREC_PASS_ON(usleep, microseconds);
  return returned_int(next_answer(Call::usleep, {Handed::of(std::int64_t{microseconds})}));
}

int nanosleep(const timespec* time, timespec* left) {
  if (!is_replayed()) BOARDREC_PASS_ON(nanosleep, time, left);
  const Record& record = next_answer(Call::nanosleep, {span(time)});
  give_time(record, left);
  return returned_int(record);
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* time, timespec* left) {
  if (!is_replayed()) BOARDREC_PASS_ON(clock_nanosleep, clock, flags, time, left);
  const Record& record =
      next_answer(Call::clock_nanosleep, {Handed::of(clock), Handed::of(flags), span(time)});
  give_time(record, left);
  return static_cast<int>(record.result);
}

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(clock_gettime, clock, now);
  const Record& record = next_answer(Call::clock_gettime, {Handed::of(clock)});
  give_time(record, now);
  return returned_int(record);
}

int gettimeofday(timeval* now, void* zone) noexcept {
  if (!is_replayed()) BOARDREC_PASS_ON(gettimeofday, now, zone);
  const Record& record = next_answer(Call::gettimeofday, {});
  if (record.result == 0 && now != nullptr) *now = boardrec::to_timeval(record.out.front().number);
  return returned_int(record);
}

}  // extern "C"
