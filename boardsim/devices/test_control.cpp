#include "boardsim/devices/test_control.h"

#include <cerrno>

#include "boardsim/devices/records.h"

namespace boardsim {
namespace {

// clang-format off
constexpr Request kTestControlRequests[] = {
    {0x888B, Request::Argument::record, "an int", 1, "switches test control: 0 off, anything else on"},
};
// clang-format on

}  // namespace

std::span<const Request> TestControl::requests() const {
  return kTestControlRequests;
}

Answer TestControl::answer(const Request& /*request*/, void* argument) {
  on_ = word(argument, 0) != 0;
  if (on_ && watcher_) watcher_();
  return Answer::ok();
}

}  // namespace boardsim
