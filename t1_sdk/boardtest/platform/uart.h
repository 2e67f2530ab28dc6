// The board's own serial ports, /dev/uart1 to /dev/uart5, and blocks sent and received on serial lines.
#pragma once

#include <sys/select.h>
#include <cstdint>

/// The UART driver's configuration, passed on as the caller gives it.
struct uart_cfg {
  std::int32_t baudrate;     ///< bits per second
  std::int32_t data;         ///< data bits as the driver numbers them; the RS485 tests pass 3
  std::int32_t stop;         ///< stop bits, likewise; they pass 0
  std::int32_t parity;       ///< 0 for none
  std::int32_t flowcontrol;  ///< 0 for none
};
static_assert(sizeof(uart_cfg) == 20);

/// Configures a /dev/uartN node with the numbers of a uart_cfg. The request's result.
int uart_config(int fd, int baudrate, int data, int stop, int parity, int flowcontrol);

/// Receives `dataLen` bytes (256 at most) into `dataBuff`, or what has arrived when the wait ends. `rset`
/// holds `fd`; the first byte may take `timeOut` seconds, the others `waitTime` / 10 + 1 looks at the
/// driver's count, without a pause between them. The number of bytes copied, 0 on time-out, -1 on error, for
/// a `dataLen` above 256 and for a descriptor that no set can hold. A `dataLen` below 0 counts as 0.
int recvRS485Data(int fd, fd_set* rset, unsigned char* dataBuff, int dataLen, int timeOut, int waitTime);

/// Writes `dataLen` bytes (1024 at most) in one call. `wset` is not used. 0, or -1 after
/// "<t1>write failed have write %d\n " when not all were written; nothing is written for a length outside
/// 0 to 1024.
int SendRS485Data(int fd, fd_set* wset, unsigned char* dataBuff, int dataLen);
