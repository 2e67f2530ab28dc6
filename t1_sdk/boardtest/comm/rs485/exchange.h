// One RS485 exchange: a frame that is sent from one port and arrives at another.
#pragma once

#include <sys/select.h>

/// Sends `length` bytes (15 or 7) of `cSnd` from port `nFD`, named `rs485`, and checks the frame that arrives
/// at port `nFD_next`. Both buffers hold 128 bytes. 0 when a frame with a right checksum came, whatever it
/// holds, else -1: also for a frame that claims fewer than 4 bytes or more than 128.
int rs485_process(int length, const char* rs485, const char* rs485_next, unsigned char* cRcv,
                  unsigned char* cSnd, int nFD, fd_set rdfds, int nFD_next, fd_set rdfds_next);
/// The form for a port wired to itself: more patient, and silent about its success.
int rs485_process_rkd037(int length, const char* rs485, const char* rs485_next, unsigned char* cRcv,
                         unsigned char* cSnd, int nFD, fd_set rdfds, int nFD_next, fd_set rdfds_next);
