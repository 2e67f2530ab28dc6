// What a device answers unless it says otherwise.
#include "boardsim/devices/device.h"

#include <sys/stat.h>

#include "boardsim/kernel/real.h"

namespace boardsim {

Answer Device::open(int /*flags*/) {
  return Answer::ok();
}

int Device::descriptor(int /*flags*/) {
  return real::open("/dev/null", O_RDWR | O_CLOEXEC);
}

Answer Device::read(void* /*buffer*/, std::size_t /*size*/, off64_t& /*position*/) {
  return Answer::unknown();
}

Answer Device::write(const void* /*buffer*/, std::size_t /*size*/, off64_t& /*position*/) {
  return Answer::unknown();
}

bool Device::needs_writing(std::uint32_t /*request*/) const {
  return false;
}

mode_t Device::mode() const {
  return S_IFCHR | 0600;
}

FaultForms Device::fault_forms() {
  return {};
}

}  // namespace boardsim
