// Setting the substrate voltage from an operator's entry.
#pragma once

/// Stores the code for `g_sub_value`, reads it back from the eMMC and applies what was read. Codes: 1 no
/// entry, 2 unknown devType, 3 and 4 the first or second word cannot be stored, 5 it cannot be read back.
void t1_sdk_vsub_set(int devType, int iTestCode);
