// Setting the substrate voltage from an operator's entry.
#pragma once

/// The code for an entry in hundredths of a volt. devType 1 is 6455 and 6485, 0 is 6484; their entries out of
/// range give 2686 and 2784. -1 for any other devType.
int t1_sdk_vsub_code_to_regval(int devType, int sub_value);

/// Stores the code for `g_sub_value`, reads it back from the eMMC and applies what was read. Codes: 1 no
/// entry, 2 unknown devType, 3 and 4 the first or second word cannot be stored, 5 it cannot be read back.
void t1_sdk_vsub_set(int devType, int iTestCode);
