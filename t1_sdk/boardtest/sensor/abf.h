// Auto back focus: its motor and the limit switch.
#pragma once

/// Test 10768.
void t1_sdk_abf();
