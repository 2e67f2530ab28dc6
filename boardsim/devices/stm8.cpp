// The registers of the coprocessor.
#include "boardsim/devices/stm8.h"

namespace boardsim {

Stm8::Stm8() : RegisterDevice("stm8", 0x40045402, ReadRequest{0x80045401, 1}) {}

}  // namespace boardsim
