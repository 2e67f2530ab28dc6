#include "boardsim/devices/rejections.h"

#include "boardsim/kernel/fault_forms.h"

namespace boardsim {

void Rejections::add(std::string_view count) {
  const bool goes_on = count.ends_with('+');
  if (goes_on) count.remove_suffix(1);
  faults_.push_back({fault_number(count), goes_on});
}

bool Rejections::next() {
  bool rejected = false;
  for (Fault& fault : faults_) {
    ++fault.asked;
    rejected |= fault.asked == fault.first || (fault.goes_on && fault.asked > fault.first);
  }
  return rejected;
}

}  // namespace boardsim
