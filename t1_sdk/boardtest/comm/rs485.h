// The RS485 ports: ports wired to each other, a station that is echoed, and ports that only send.
#pragma once

#include <sys/select.h>

/// Test 1024, by board family.
void t1_sdk_rs485_test();

/// Empties the receive buffer of a UART. The request's result.
int clear_485recv_buf(int fd);
/// Opens a UART and configures it for 38400 baud. Its descriptor; on failure -1 after one line of text, with
/// `gpiofd` closed.
int rs485Open(const char* rs485);

/// Sends `length` bytes (15 or 7) of `cSnd` from port `nFD`, named `rs485`, and checks the frame that arrives
/// at port `nFD_next`. Both buffers hold 128 bytes. 0 when a frame with a right checksum came, whatever it
/// holds, else -1: also for a frame that claims fewer than 4 bytes or more than 128.
int rs485_process(int length, const char* rs485, const char* rs485_next, unsigned char* cRcv,
                  unsigned char* cSnd, int nFD, fd_set rdfds, int nFD_next, fd_set rdfds_next);
/// The form for a port wired to itself: more patient, and silent about its success.
int rs485_process_rkd037(int length, const char* rs485, const char* rs485_next, unsigned char* cRcv,
                         unsigned char* cSnd, int nFD, fd_set rdfds, int nFD_next, fd_set rdfds_next);

/// Five ports in a ring.
void rs485_test_Ex();
/// Three ports in a ring.
void rs485_test_u();
/// Two ports wired to each other.
void rs485_test_rkd537();
/// One port wired to itself. No board is given it.
void rs485_test_rkd037();

/// Echoes the station's frame, then expects a fixed one. Waits up to 60 seconds for each frame's header to
/// begin, and again for the rest behind it.
void rs485_test();

/// Sends a frame four times.
void rs485_unit_test();
/// Sends a pan and tilt command five times.
void rs485_test_63xx();
/// Test -16: the same on the terminal port /dev/ttyS1.
void rs485_ptz_test();
