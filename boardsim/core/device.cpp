// What a device answers unless it says otherwise.
#include "boardsim/core/device.h"

namespace boardsim {

Answer Device::open(int /*flags*/) {
  return Answer::ok();
}

Answer Device::read(void* /*buffer*/, std::size_t /*size*/, off_t& /*position*/) {
  return Answer::unknown();
}

Answer Device::write(const void* /*buffer*/, std::size_t /*size*/, off_t& /*position*/) {
  return Answer::unknown();
}

bool Device::fault(const std::vector<std::string_view>& /*words*/) {
  return false;
}

}  // namespace boardsim
