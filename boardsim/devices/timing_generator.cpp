// The registers of the analogue front end.
#include "boardsim/devices/timing_generator.h"

namespace boardsim {

TimingGenerator::TimingGenerator() : RegisterDevice("afe", 0x40045402, std::nullopt) {}

}  // namespace boardsim
