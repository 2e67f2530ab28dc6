// The state of an unfinished substrate-voltage trim.
#pragma once

/// Trimmed and base code by model slot: 0 is 0x9603 (6455), 1 is 0x9605 (6485), 2 is 0x9604 (6484).
/// A base of 0 has not been read yet.
extern int g_trim_vsub[3];
extern int g_base_vsub[3];

/// The slot for device type 0x9603, 0x9605 or 0x9604; null for any other.
int* t1_sdk_get_trim_vsub(int dev);
int* t1_sdk_get_base_vsub(int dev);
/// Discards an unfinished trim.
void t1_sdk_reset_trim_vsub();
