// The ports of an RS485 test, and what has to happen before they can be used.
#pragma once

#include "t1_sdk/boardtest/protocol/report.h"

/// Empties the receive buffer of a UART. The request's result.
int clear_485recv_buf(int fd);
/// Opens a UART and configures it for 38400 baud. Its descriptor; on failure -1 after one line of text, with
/// `gpiofd` closed.
[[nodiscard]] int rs485Open(const char* rs485);

namespace boardtest {

/// Opens /dev/qznio. Its descriptor, or -1 with the failure printed and in the report.
[[nodiscard]] int open_io_for(TestReport& report);
/// Ends the application's detector thread, which uses the ports, and gives it 5 seconds for that.
void stop_detector();
/// Opens /dev/uart1 and configures it. Its descriptor, or -1 with the failure printed and in the report.
[[nodiscard]] int open_first_port(TestReport& report, int baudrate);

}  // namespace boardtest
