// The direction of an RS485 transceiver.
#pragma once

/// Drives the direction pin `gpio` to 1 when `en` is not 0, else to 0. `fd` is a descriptor of /dev/qznio.
/// 0, or -1 after one line of text.
int rs485_ctl(int fd, unsigned gpio, unsigned en);
