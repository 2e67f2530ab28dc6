// The registers of the board's FPGA.
#include "boardsim/devices/fpga.h"

namespace boardsim {

Fpga::Fpga() : RegisterDevice("fpga", 0x40044603, ReadRequest{0x80044602, 2}) {}

}  // namespace boardsim
