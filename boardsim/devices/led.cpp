// Diodes that are switched one by one.
#include "boardsim/devices/led.h"

#include <cerrno>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

// clang-format off
constexpr Request kLedRequests[] = {
    {0x40044C01, Request::Argument::record, "{index, state}", 2, "switches a diode"},
};
// clang-format on

}  // namespace

std::span<const Request> Led::requests() const {
  return kLedRequests;
}

Answer Led::answer(const Request& /*request*/, void* argument) {
  states_[word(argument, 0)] = word(argument, 1);
  return Answer::ok();
}

std::uint32_t Led::state(std::uint32_t index) const {
  const auto found = states_.find(index);
  return found == states_.end() ? 0 : found->second;
}

}  // namespace boardsim
