// Automatic level: brightness measured over a sweep of substrate voltages.
#pragma once

/// Test 11776: the sweep that fits the model. Codes: 1 /dev/qznio cannot be opened, 2 the boot block cannot
/// be read. Passes whatever the sweep met.
void t1_sdk_autoCCDLevel();
/// 19 codes around the stored one, two apart, each with the brightness that the FPGA reads; stores the pairs.
void SetVsubGetLuma();
/// 19 readings without a voltage.
void SetNonVsubGetLuma();
