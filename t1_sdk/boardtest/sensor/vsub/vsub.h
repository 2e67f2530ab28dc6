// The substrate voltage of the CCD models: set from an operator's entry, trimmed step by step, shown, and
// swept.
#pragma once

/// The operator's entry in hundredths of a volt, from the request's Parameters. Each use clears it.
extern int g_sub_value;

/// Tests 9728, 9984 and 10240: t1_sdk_vsub_set() for a model.
void t1_sdk_setVsub6455();
void t1_sdk_setVsub6485();
void t1_sdk_setVsub6484();

/// Discards an unfinished trim.
void t1_sdk_reset_trim_vsub();
/// Tests 11009 to 11011: a step up, a step down, and the code stored.
void t1_sdk_addVsub6455();
void t1_sdk_decVsub6455();
void t1_sdk_saveVsub6455();
/// Tests 11265 to 11267.
void t1_sdk_addVsub6485();
void t1_sdk_decVsub6485();
void t1_sdk_saveVsub6485();
/// Tests 11521 to 11523.
void t1_sdk_addVsub6484();
void t1_sdk_decVsub6484();
void t1_sdk_saveVsub6484();

/// Test 11776: the sweep that fits the model. Codes: 1 /dev/qznio cannot be opened, 2 the boot block cannot
/// be read. Passes whatever the sweep met.
void t1_sdk_autoCCDLevel();

/// Test 12032: shows the stored voltage and the pairs of the last sweep. The description holds the last line.
/// Code 2 when either cannot be read, and the pairs never can (readVsubLumaData()).
void t1_sdk_printVsub();
