// Diodes that are switched one by one.
#include "boardsim/devices/led.h"

#include <cerrno>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

constexpr std::uint32_t kSwitch = 0x40044C01;

}  // namespace

Answer Led::ioctl(std::uint32_t request, void* argument) {
  if (request != kSwitch) return Answer::unknown();
  if (argument == nullptr) return Answer::fails(EFAULT);
  states_[word(argument, 0)] = word(argument, 1);
  return Answer::ok();
}

std::vector<std::uint32_t> Led::words_in(std::uint32_t request, const void* argument) const {
  return request == kSwitch ? words(argument, 2) : std::vector<std::uint32_t>{};
}

std::uint32_t Led::led(std::uint32_t index) const {
  const auto found = states_.find(index);
  return found == states_.end() ? 0 : found->second;
}

}  // namespace boardsim
