// A motor that is configured once an opening and then moved.
#include "boardsim/devices/motor.h"

#include <cerrno>

#include "boardsim/devices/fault_words.h"
#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

enum Request : std::uint32_t { kConfigure = 0x40044301, kMove = 0x40044901, kMoveBack = 0x40044902 };

// The configuration: a count and 16 entries of ten words. In an entry, the chip stands behind description,
// speed, unit of speed, step angle and pulses a second.
constexpr std::size_t kWords = 1 + 16 * 10;
constexpr std::size_t kCount = 0;
constexpr std::size_t kChip = 1 + 5;
constexpr std::size_t kType = kChip + 1;
static_assert(kWords * sizeof(std::uint32_t) == 644);

constexpr std::uint32_t kFilterChip = 7;

bool is_filter_configuration(const void* record) {
  for (std::size_t i = 0; i < kWords; ++i) {
    if (word(record, i) != (i == kChip ? kFilterChip : 0)) return false;
  }
  return true;
}

}  // namespace

Answer Motor::open(int /*flags*/) {
  configured_ = false;
  return Answer::ok();
}

Answer Motor::ioctl(std::uint32_t request, void* argument) {
  switch (request) {
    case kConfigure:
      if (argument == nullptr) return Answer::fails(EFAULT);
      configured_ = is_filter_configuration(argument);
      return configured_ ? Answer::ok() : Answer::fails(EINVAL);
    case kMove:
    case kMoveBack:
      return move(value_argument(argument));
    default:
      return Answer::unknown();
  }
}

std::vector<std::uint32_t> Motor::words_in(std::uint32_t request, const void* argument) const {
  if (request == kMove || request == kMoveBack) return {value_argument(argument)};
  if (request != kConfigure || argument == nullptr) return {};
  return {word(argument, kCount), word(argument, kChip), word(argument, kType)};
}

Answer Motor::move(std::uint32_t travel) {
  const bool rejected = rejects();
  if (!configured_) return Answer::fails(EINVAL);
  if (rejected) return Answer::fails(EIO);
  ++moves_;
  travel_ = travel;
  return Answer::ok();
}

bool Motor::rejects() {
  bool rejected = false;
  for (Rejected& fault : rejected_) {
    ++fault.asked;
    rejected |= fault.asked == fault.first || (fault.goes_on && fault.asked > fault.first);
  }
  return rejected;
}

bool Motor::fault(const std::vector<std::string_view>& words) {
  if (words.empty() || words[0] != "motor") return false;
  constexpr std::string_view kExpected = "motor rejects move N[+], counted from 1";
  if (words.size() != 4 || words[1] != "rejects" || words[2] != "move") refuse_fault(words, kExpected);
  std::string_view count = words[3];
  const bool goes_on = count.ends_with('+');
  if (goes_on) count.remove_suffix(1);
  const std::uint32_t first = fault_number(count);
  if (first == 0) refuse_fault(words, kExpected);
  rejected_.push_back({first, goes_on});
  return true;
}

}  // namespace boardsim
