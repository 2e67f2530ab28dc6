// Faults of the form "... rejects THING N[+]".
#include "boardsim/devices/rejections.h"

#include "boardsim/devices/fault_words.h"

namespace boardsim {

bool Rejections::add(std::string_view count) {
  const bool goes_on = count.ends_with('+');
  if (goes_on) count.remove_suffix(1);
  const unsigned first = fault_number(count);
  if (first == 0) return false;
  faults_.push_back({first, goes_on});
  return true;
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
