// The board's temperature sensor, read from the kernel's debug files.
#pragma once

/// Reads a sensor file: thousandths of a degree Celsius, or -1 with `*result` set (2 no path, 3 open
/// failed, 4 read failed) and `description` (512 bytes) overwritten. On success both stay untouched.
int t1_sdk_get_temp1(const char* path, int* result, char* description);

/// Test 7426: the first of /proc/debug/temp1 to temp20 that is a regular file. Code 1 when there is none.
void t1_sdk_tmp_test();
