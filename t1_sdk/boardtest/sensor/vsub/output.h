// The substrate voltage as the hardware is given it.
#pragma once

/// Applies a code: through the general I/O driver on 65xx boards, else through the FPGA.
void setVsubToFpga(int vsub);
