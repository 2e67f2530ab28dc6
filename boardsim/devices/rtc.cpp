// The clock's readings: virtual time, a standstill, or a script of seconds.
#include "boardsim/devices/rtc.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <stdexcept>
#include <utility>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

// clang-format off
constexpr Request kRtcRequests[] = {
    {0x80247009, Request::Argument::record, "nine words", 0, "copies out the time: seconds, minutes, hours, day of the month, month from 0, years since 1900, weekday from Sunday 0, day of the year from 0, daylight flag 0"},
};
// clang-format on

std::int64_t seconds_at(Time time) {
  return (Rtc::kSwitchedOn.time_since_epoch() + std::chrono::floor<std::chrono::seconds>(time)).count();
}

void write_time(void* record, std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  gmtime_r(&time, &parts);
  const int fields[] = {parts.tm_sec,  parts.tm_min,  parts.tm_hour,
                        parts.tm_mday, parts.tm_mon,  parts.tm_year,
                        parts.tm_wday, parts.tm_yday, 0};
  std::size_t index = 0;
  for (const int field : fields) set_word(record, index++, static_cast<std::uint32_t>(field));
}

}  // namespace

Rtc::Rtc(std::function<Time()> now) : now_(std::move(now)) {}

std::span<const Request> Rtc::requests() const {
  return kRtcRequests;
}

Answer Rtc::answer(const Request& /*request*/, void* argument) {
  write_time(argument, reading());
  return Answer::ok();
}

FaultForms Rtc::fault_forms() {
  return {
      {"rtc stopped",
       "the clock stands still from now on",
       {},
       [this](const FaultArguments&) {
         clear_faults();
         stopped_at_ = now_();
       }},
      {"rtc seconds SECOND...",
       "it shows these seconds, one a reading, then keeps showing the last; where they fall, a minute begins",
       {number("SECOND", 0, 59)},
       [this](const FaultArguments& given) {
         const auto seconds = given.numbers(0);
         set_seconds({seconds.begin(), seconds.end()});
       }}};
}

void Rtc::clear_faults() {
  stopped_at_.reset();
  script_.clear();
}

void Rtc::set_seconds(std::vector<int> seconds) {
  const auto in_range = [](int second) { return second >= 0 && second <= 59; };
  if (seconds.empty() || !std::ranges::all_of(seconds, in_range)) {
    throw std::invalid_argument("rtc seconds: one or more seconds from 0 to 59 are needed");
  }
  clear_faults();
  script_ = std::move(seconds);
  script_next_ = 0;
  const std::int64_t now = seconds_at(now_());
  script_minute_ = now - now % 60;
}

std::int64_t Rtc::reading() {
  if (script_.empty()) return seconds_at(stopped_at_.value_or(now_()));
  if (script_next_ < script_.size()) {
    if (script_next_ > 0 && script_[script_next_] < script_[script_next_ - 1]) script_minute_ += 60;
    ++script_next_;
  }
  return script_minute_ + script_[script_next_ - 1];
}

}  // namespace boardsim
