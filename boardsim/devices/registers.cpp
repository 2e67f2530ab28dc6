// Registers behind {address, value} records.
#include "boardsim/devices/registers.h"

#include <cerrno>

#include "boardsim/devices/records.h"

namespace boardsim {

RegisterDevice::RegisterDevice(std::string_view name, std::uint32_t write_request,
                               std::optional<ReadRequest> read)
    : name_(name), write_request_(write_request), read_(read) {}

Answer RegisterDevice::ioctl(std::uint32_t request, void* argument) {
  const bool writes = request == write_request_;
  if (!writes && !(read_ && request == read_->number)) return Answer::unknown();
  if (argument == nullptr) return Answer::fails(EFAULT);
  if (writes) {
    set_reg(word(argument, 0), word(argument, 1));
    if (watcher_) watcher_(word(argument, 0), word(argument, 1));
  } else {
    set_word(argument, 1, reg(word(argument, 0)));
  }
  return Answer::ok();
}

std::vector<std::uint32_t> RegisterDevice::words_in(std::uint32_t request, const void* argument) const {
  if (request == write_request_) return words(argument, 2);
  if (read_ && request == read_->number) return words(argument, read_->words_in);
  return {};
}

FaultForms RegisterDevice::fault_forms() {
  return {{name_ + " ADDRESS stuck VALUE",
           "the register reads this value whatever is written to it",
           {number("ADDRESS"), number("VALUE")},
           [this](const FaultArguments& given) { stuck_[given.number(0)] = given.number(1); }}};
}

std::uint32_t RegisterDevice::reg(std::uint32_t address) const {
  if (const auto stuck = stuck_.find(address); stuck != stuck_.end()) return stuck->second;
  const auto found = registers_.find(address);
  return found == registers_.end() ? 0 : found->second;
}

}  // namespace boardsim
