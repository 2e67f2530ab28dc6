#include "boardsim/devices/focus_motor.h"

#include <algorithm>
#include <cerrno>

namespace boardsim {

Answer FocusMotor::step(Way way) {
  if (rejected_.next()) return Answer::fails(EIO);
  if (!stuck_) set_position(position_ + static_cast<int>(way));
  return Answer::ok();
}

void FocusMotor::set_position(int steps) {
  position_ = std::max(steps, 0);
}

FaultForms FocusMotor::fault_forms() {
  return {{"limit switch never|always",
           "line 7 reads 0 or 1 wherever the focus motor stands",
           {},
           [this](const FaultArguments& given) { stuck_switch_ = given.word(0) == "always"; }},
          {"focus motor stuck",
           "it takes its steps and stands still",
           {},
           [this](const FaultArguments&) { stuck_ = true; }},
          {"focus motor rejects step N[+]",
           "the N-th step from now on fails with EIO, with + every later one too",
           {count("N[+]")},
           [this](const FaultArguments& given) { rejected_.add(given.word(0)); }}};
}

void FocusMotor::clear_faults() {
  stuck_ = false;
  stuck_switch_.reset();
  rejected_.clear();
}

}  // namespace boardsim
