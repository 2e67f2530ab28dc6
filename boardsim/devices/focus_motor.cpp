// The focus motor behind /dev/motor, and its limit switch on GPIO line 7.
#include "boardsim/devices/focus_motor.h"

#include <algorithm>
#include <cerrno>

#include "boardsim/devices/fault_words.h"

namespace boardsim {

Answer FocusMotor::step(Way way) {
  if (rejected_.next()) return Answer::fails(EIO);
  if (!stuck_) set_position(position_ + static_cast<int>(way));
  return Answer::ok();
}

void FocusMotor::set_position(int steps) {
  position_ = std::max(steps, 0);
}

bool FocusMotor::fault(const std::vector<std::string_view>& words) {
  const auto begins = [&](std::string_view first, std::string_view second) {
    return words.size() > 1 && words[0] == first && words[1] == second;
  };
  if (begins("limit", "switch")) {
    if (words.size() != 3 || (words[2] != "never" && words[2] != "always")) {
      refuse_fault(words, "limit switch never|always");
    }
    stuck_switch_ = words[2] == "always";
    return true;
  }
  if (!begins("focus", "motor")) return false;
  if (words.size() == 3 && words[2] == "stuck") {
    stuck_ = true;
  } else if (words.size() != 5 || words[2] != "rejects" || words[3] != "step" || !rejected_.add(words[4])) {
    refuse_fault(words, "focus motor stuck, focus motor rejects step N[+], counted from 1");
  }
  return true;
}

void FocusMotor::clear_faults() {
  stuck_ = false;
  stuck_switch_.reset();
  rejected_.clear();
}

}  // namespace boardsim
