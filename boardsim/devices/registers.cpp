#include "boardsim/devices/registers.h"

#include "boardsim/devices/records.h"

namespace boardsim {

Answer RegisterDevice::answer(const Request& request, void* argument) {
  if (request.number == requests_.front().number) {
    set_reg(word(argument, 0), word(argument, 1));
    if (watcher_) watcher_(word(argument, 0), word(argument, 1));
  } else {
    set_word(argument, 1, reg(word(argument, 0)));
  }
  return Answer::ok();
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
