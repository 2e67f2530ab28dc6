// Parameters of the image sensor's timing generator: from /devinfo/TG.bin into the factory store, and back
// to the station as text.
#pragma once

/// Test 10496: file to factory store.
void t1_sdk_setTGParam();
/// Test 10752: factory store to the console and, as many pairs as fit, to the description.
void t1_sdk_printTGParam();
