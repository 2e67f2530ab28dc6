// The RS485 ports: ports wired to each other, a station that is echoed, and ports that only send.
#pragma once

/// Test 1024, by board family.
void t1_sdk_rs485_test();
/// Test -16: a pan and tilt command, five times, on the terminal port /dev/ttyS1.
void rs485_ptz_test();
