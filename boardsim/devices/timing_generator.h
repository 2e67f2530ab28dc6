// /dev/tg: the registers of the image sensor's analogue front end.
#pragma once

#include "boardsim/devices/registers.h"

namespace boardsim {

/// They can only be written. Its faults begin with "afe".
class TimingGenerator : public RegisterDevice {
 public:
  TimingGenerator();
};

}  // namespace boardsim
