// Trimming the substrate voltage step by step, within limits around the stored code.
#pragma once

/// Trimmed and base code by model slot: 0 is 0x9603 (6455), 1 is 0x9605 (6485), 2 is 0x9604 (6484).
/// A base of 0 has not been read yet.
extern int g_trim_vsub[3];
extern int g_base_vsub[3];

/// The slot for device type 0x9603, 0x9605 or 0x9604; null for any other.
int* t1_sdk_get_trim_vsub(int dev);
int* t1_sdk_get_base_vsub(int dev);

// The three commands. `dev` is a device type code, `iTestCode` the test code of the reply. Every failure has
// code 2: a device type that is not trimmed, a node that cannot be opened, a record that cannot be read or
// stored, and a stored code outside 0xA00 to 0xAFF.

/// Raises the voltage by one step (the code falls), applies and stores it; at its limit the code stays, and
/// is applied and stored as well.
void t1_sdk_add_trim_vsub(int dev, int iTestCode);
/// Lowers the voltage by one step (the code rises); otherwise the same.
void t1_sdk_dec_trim_vsub(int dev, int iTestCode);
/// Stores the trimmed code.
void t1_sdk_save_trim_vsub(int dev, int iTestCode);
