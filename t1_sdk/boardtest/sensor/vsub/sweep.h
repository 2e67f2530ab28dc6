// Automatic level: brightness measured over a sweep of substrate voltages.
#pragma once

/// 19 codes around the stored one, two apart, each with the brightness that the FPGA reads; stores the pairs.
void SetVsubGetLuma();
/// 19 readings without a voltage.
void SetNonVsubGetLuma();
