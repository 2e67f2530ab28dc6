// The clock and the sleeps.
#include <time.h>
#include <unistd.h>

#include "boardrec/memory/copies.h"
#include "boardrec/recorder/entry.h"
#include "boardrec/recorder/next.h"
#include "boardrec/recorder/times.h"

using boardrec::Call;
using boardrec::Entry;
using boardrec::WideTimespec;
using boardrec::WideTimeval;

// The names for programs whose times have 64 bits, on machines where they usually have 32.
extern "C" {
int __nanosleep64(const WideTimespec* span, WideTimespec* left);
int __clock_nanosleep_time64(clockid_t clock, int flags, const WideTimespec* span, WideTimespec* left);
int __clock_gettime64(clockid_t clock, WideTimespec* time);
int __gettimeofday64(WideTimeval* time, void* zone);
}

BOARDREC_NEXT(sleep);
BOARDREC_NEXT(usleep);
BOARDREC_NEXT(nanosleep);
BOARDREC_NEXT(__nanosleep64);
BOARDREC_NEXT(clock_nanosleep);
BOARDREC_NEXT(__clock_nanosleep_time64);
BOARDREC_NEXT(clock_gettime);
BOARDREC_NEXT(__clock_gettime64);
BOARDREC_NEXT(gettimeofday);
BOARDREC_NEXT(__gettimeofday64);

namespace {

/// The span or moment that a call was handed.
template <typename Time>
void in_time(Entry& entry, const Time* time) {
  Time copy{};
  bool there = time != nullptr;
  if (there) {
    const boardrec::kernel::Locked lock(boardrec::shared);
    there = boardrec::copy_block(time, &copy, sizeof copy);
  }
  if (there) return entry.in(boardrec::nanoseconds(copy));
  entry.in_absent();
  if (time != nullptr) entry.flag(boardrec::kNotRecorded);
}

template <typename Time, typename Function>
int nanosleep_any(const Time* span, const Time* left, Function function) {
  Entry entry(Call::nanosleep);
  if (!entry) return function();
  in_time(entry, span);
  const int result = entry.make_cancellable(function);
  if (result == -1 && entry.error() == EINTR && left != nullptr) entry.out(boardrec::nanoseconds(*left));
  return entry.end(result);
}

template <typename Time, typename Function>
int clock_nanosleep_any(clockid_t clock, int flags, const Time* span, const Time* left, Function function) {
  Entry entry(Call::clock_nanosleep);
  if (!entry) return function();
  entry.in(clock);
  entry.in(flags);
  in_time(entry, span);
  const int result = entry.make_cancellable(function);
  const bool tells = result == EINTR && left != nullptr && (flags & TIMER_ABSTIME) == 0;
  if (tells) entry.out(boardrec::nanoseconds(*left));
  return entry.end_with_number(result);
}

template <typename Time, typename Function>
int gettime_any(clockid_t clock, const Time* time, Function function) {
  Entry entry(Call::clock_gettime);
  if (!entry) return function();
  entry.in(clock);
  const int result = entry.make(function);
  if (result == 0 && time != nullptr) entry.out(boardrec::nanoseconds(*time));
  return entry.end(result);
}

template <typename Time, typename Function>
int gettimeofday_any(const Time* time, Function function) {
  Entry entry(Call::gettimeofday);
  if (!entry) return function();
  const int result = entry.make(function);
  if (result == 0 && time != nullptr) entry.out(boardrec::nanoseconds(*time));
  return entry.end(result);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

unsigned sleep(unsigned seconds) {
  Entry entry(Call::sleep);
  if (!entry) return next_sleep(seconds);
  entry.in(seconds);
  const unsigned left = entry.make_cancellable([=] { return next_sleep(seconds); });
  entry.end(std::int64_t{left});
  return left;
}

int usleep(useconds_t microseconds) {
  Entry entry(Call::usleep);
  if (!entry) return next_usleep(microseconds);
  entry.in(microseconds);
  return entry.end(entry.make_cancellable([=] { return next_usleep(microseconds); }));
}

int nanosleep(const timespec* span, timespec* left) {
  return nanosleep_any(span, left, [=] { return next_nanosleep(span, left); });
}
int __nanosleep64(const WideTimespec* span, WideTimespec* left) {
  return nanosleep_any(span, left, [=] { return next___nanosleep64(span, left); });
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* span, timespec* left) {
  return clock_nanosleep_any(clock, flags, span, left,
                             [=] { return next_clock_nanosleep(clock, flags, span, left); });
}
int __clock_nanosleep_time64(clockid_t clock, int flags, const WideTimespec* span, WideTimespec* left) {
  return clock_nanosleep_any(clock, flags, span, left,
                             [=] { return next___clock_nanosleep_time64(clock, flags, span, left); });
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  return gettime_any(clock, time, [=] { return next_clock_gettime(clock, time); });
}
int __clock_gettime64(clockid_t clock, WideTimespec* time) {
  return gettime_any(clock, time, [=] { return next___clock_gettime64(clock, time); });
}

int gettimeofday(timeval* time, void* zone) noexcept {
  return gettimeofday_any(time, [=] { return next_gettimeofday(time, zone); });
}
int __gettimeofday64(WideTimeval* time, void* zone) {
  return gettimeofday_any(time, [=] { return next___gettimeofday64(time, zone); });
}

}  // extern "C"
#pragma GCC visibility pop
