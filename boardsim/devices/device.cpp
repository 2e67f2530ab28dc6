// What a device answers unless it says otherwise.
#include "boardsim/devices/device.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "boardsim/devices/records.h"
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

const Request* Device::find(std::uint32_t request) const {
  const auto known = requests();
  const auto found = std::ranges::find(known, request, &Request::number);
  return found == known.end() ? nullptr : &*found;
}

Answer Device::ioctl(std::uint32_t number, void* argument) {
  const Request* const request = find(number);
  if (request == nullptr) return Answer::unknown();
  if (request->argument == Request::Argument::none && argument != nullptr) return Answer::fails(EINVAL);
  if (request->argument == Request::Argument::record && argument == nullptr) return Answer::fails(EFAULT);
  return answer(*request, argument);
}

Answer Device::answer(const Request& /*request*/, void* /*argument*/) {
  return Answer::unknown();
}

std::vector<std::uint32_t> Device::words_in(std::uint32_t number, const void* argument) const {
  const Request* const request = find(number);
  if (request == nullptr) return {};
  if (request->argument == Request::Argument::value) return {value_argument(argument)};
  return request->shown != nullptr ? request->shown(argument) : words(argument, request->words_in);
}

bool Device::needs_writing(std::uint32_t number) const {
  const Request* const request = find(number);
  return request != nullptr && request->writes;
}

mode_t Device::mode() const {
  return S_IFCHR | 0600;
}

FaultForms Device::fault_forms() {
  return {};
}

}  // namespace boardsim
