// The real-time clock.
#pragma once

/// Test 1536: six readings a second apart must span 5 or 6 seconds. Codes: 1 open failed, 2 read failed,
/// 3 the clock does not advance as it should.
void t1_sdk_rtc_test();
