// The switch that puts the alarm lines into test mode.
#include "boardsim/devices/test_control.h"

#include <cerrno>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

constexpr std::uint32_t kSwitch = 0x888B;

}  // namespace

Answer TestControl::ioctl(std::uint32_t request, void* argument) {
  if (request != kSwitch) return Answer::unknown();
  if (argument == nullptr) return Answer::fails(EFAULT);
  on_ = word(argument, 0) != 0;
  if (on_ && watcher_) watcher_();
  return Answer::ok();
}

std::vector<std::uint32_t> TestControl::words_in(std::uint32_t request, const void* argument) const {
  return request == kSwitch ? words(argument, 1) : std::vector<std::uint32_t>{};
}

}  // namespace boardsim
