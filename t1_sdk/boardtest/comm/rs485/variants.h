// The variants of the RS485 test, by how a board's ports are wired. Each sends its reply with test code 1024.
#pragma once

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
