// Auto back focus: its motor and the limit switch.
#pragma once

/// Test 10768: the motor leaves the limit and comes back, or seeks it and goes back. Codes: 1 a node cannot
/// be opened, a step on the first way is refused, or the switch has not changed by its end; 2 a step on the
/// way back is refused.
void t1_sdk_abf();
