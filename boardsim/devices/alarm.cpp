// Alarm outputs, one by one or all at once.
#include "boardsim/devices/alarm.h"

#include <cerrno>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

enum Number : std::uint32_t { kSet = 0x40044101, kGet = 0x80044102 };
enum Field : std::size_t { kIndex, kState, kDirection };

constexpr std::uint32_t kAll = 0x46554C4C;
constexpr std::uint32_t kOutputs = 32;
constexpr std::uint32_t kOut = 0;

using enum Request::Argument;

// clang-format off
constexpr Request kRequests[] = {
    {kSet, record, "{index, state, direction}", 3, "sets outputs"},
    {kGet, record, "{index, state, direction}", 3, "gets them into the second word"},
};
// clang-format on

}  // namespace

std::span<const Request> Alarm::requests() const {
  return kRequests;
}

Answer Alarm::answer(const Request& request, void* argument) {
  const std::uint32_t index = word(argument, kIndex);
  if ((index != kAll && index >= kOutputs) || word(argument, kDirection) != kOut)
    return Answer::fails(EINVAL);
  if (request.number == kGet) {
    set_word(argument, kState, index == kAll ? state_ : (state_ >> index & 1U));
    return Answer::ok();
  }
  const std::uint32_t state = word(argument, kState);
  if (index == kAll) {
    state_ = state;
  } else {
    const std::uint32_t bit = 1U << index;
    state_ = state != 0 ? state_ | bit : state_ & ~bit;
  }
  if (watcher_) watcher_();
  return Answer::ok();
}

}  // namespace boardsim
