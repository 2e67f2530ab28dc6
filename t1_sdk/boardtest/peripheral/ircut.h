// The infrared-cut filter: moved between its day and night positions, in the way of each board family.
#pragma once

/// Test 1792, by board family.
void t1_sdk_icrcut_test();

/// The motor driver's filter; `travel` is the argument of the moves towards the filter position.
void ircut_test(int travel);
/// The motor driver's filter of the RKD boards.
void ircut_test_rkd();
/// A motor stepped through GPIO lines, with a home switch. Always passes once the node is open.
void ircut_test_65xx();
/// Shell commands. Always passes.
void ircut_test_63xx();
/// The electromagnetic filter, day first.
void ircut_test_loop();
/// The electromagnetic filter, night first.
void ircut_test_loop_c();

/// Switches the electromagnetic filter. The last GPIO result, negative on failure; -1 without the node.
int loop_ircut_test(int night);
