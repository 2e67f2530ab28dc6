// The clock and the sleeps.
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "boardsim/board/state.h"
#include "boardsim/calls/calls.h"
#include "boardsim/kernel/real.h"
#include "boardsim/libc/timespec.h"

using boardsim::Entered;
using boardsim::Rtc;
using boardsim::Time;
namespace calls = boardsim::calls;
namespace real = boardsim::real;

namespace {

// A board has been up for a while when its program starts.
constexpr Time kUpTime = std::chrono::seconds(20);

timespec to_timespec(Time time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  return {static_cast<time_t>(seconds.count()),
          static_cast<long>(std::chrono::nanoseconds(time - seconds).count())};
}

/// 0, or the errno with which a sleep ends early; then `left` tells what was left.
int sleep_for(const Entered& board, const char* name, const timespec* span, timespec* left) {
  if (span == nullptr) return EFAULT;
  if (!boardsim::is_valid(*span)) return EINVAL;
  const Time end = board->clock.now() + boardsim::to_time(*span);
  if (calls::sleep(*board, name, boardsim::words(*span), boardsim::to_time(*span))) return 0;
  if (left != nullptr) *left = to_timespec(std::max(end - board->clock.now(), Time(0)));
  return EINTR;
}

}  // namespace

extern "C" {

unsigned sleep(unsigned seconds) {
  const Entered board;
  if (!board) return real::sleep(seconds);
  const Time end = board->clock.now() + std::chrono::seconds(seconds);
  if (calls::sleep(*board, "sleep", {seconds}, std::chrono::seconds(seconds))) return 0;
  return static_cast<unsigned>(std::chrono::ceil<std::chrono::seconds>(end - board->clock.now()).count());
}

int usleep(useconds_t microseconds) {
  const Entered board;
  if (!board) return real::usleep(microseconds);
  return calls::sleep(*board, "usleep", {microseconds}, Time(microseconds)) ? 0 : -1;
}

int nanosleep(const timespec* span, timespec* left) {
  const Entered board;
  if (!board) return real::nanosleep(span, left);
  const int error = sleep_for(board, "nanosleep", span, left);
  if (error != 0) errno = error;
  return error == 0 ? 0 : -1;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* span, timespec* left) {
  const Entered board;
  if (!board) return real::clock_nanosleep(clock, flags, span, left);
  if ((flags & TIMER_ABSTIME) == 0) return sleep_for(board, "clock_nanosleep", span, left);
  if (span == nullptr) return EFAULT;
  timespec now{};
  if (clock == CLOCK_MONOTONIC) {
    now = to_timespec(kUpTime + board->clock.now());
  } else if (real::clock_gettime(clock, &now) != 0) {
    return errno;
  }
  const timespec rest = to_timespec(std::max(boardsim::to_time(*span) - boardsim::to_time(now), Time(0)));
  return sleep_for(board, "clock_nanosleep", &rest, nullptr);
}

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (clock == CLOCK_MONOTONIC && now != nullptr) {
    if (const Entered board; board) {
      *now = to_timespec(kUpTime + board->clock.now());
      return 0;
    }
  }
  return real::clock_gettime(clock, now);
}

int gettimeofday(timeval* now, void* zone) noexcept {
  const Entered board;
  if (!board) return real::gettimeofday(now, zone);
  const timespec time = to_timespec(Rtc::kSwitchedOn.time_since_epoch() + board->clock.now());
  if (now != nullptr) *now = {time.tv_sec, time.tv_nsec / 1000};
  if (zone != nullptr) *static_cast<struct timezone*>(zone) = {};
  return 0;
}

}  // extern "C"
