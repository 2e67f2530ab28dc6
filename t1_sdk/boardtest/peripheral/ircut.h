// The infrared-cut filter: moved between its day and night positions, in the way of each board family.
#pragma once

/// Test 1792, by board family.
void t1_sdk_icrcut_test();

/// The motor driver's filter; `travel` is the argument of the moves towards the filter position. Codes: 1
/// /dev/motor cannot be opened, else the driver's negative result when it refuses its configuration or a
/// move (that of the last one refused).
void ircut_test(int travel);
/// The motor driver's filter of the RKD boards. Codes as those of ircut_test().
void ircut_test_rkd();
/// A motor stepped through GPIO lines, with a home switch. Code 1 when /dev/qznio cannot be opened; else it
/// always passes.
void ircut_test_65xx();
/// Shell commands. Always passes.
void ircut_test_63xx();
/// The electromagnetic filter, day first. The code is the negative result of loop_ircut_test() when the first
/// switch of a cycle fails; the description goes on saying that the test succeeded.
void ircut_test_loop();
/// The electromagnetic filter, night first. Codes likewise.
void ircut_test_loop_c();

/// Switches the electromagnetic filter to night, or with 0 to day. The last GPIO result, negative on failure;
/// -1 without the node.
int loop_ircut_test(int night);
