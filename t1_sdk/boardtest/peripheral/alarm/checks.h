// What the alarm variants repeat: the check of one port, or of the lines that are one input's.
#pragma once

// ---- port checks: 0, or 1 after writing the failure into the 512 bytes of `text` --------------------------
//
// Inputs are read through `gpiofd`, which the caller holds open.

/// Values 1 and 2 are the two patterns of FPGA register 0x2002.
int alarm_test_everyport(int fpga, unsigned value1, unsigned value2, char* text, unsigned mask);
/// Each pattern is a value of register 0x2002 and one of 0x2018.
int alarm_test_everyport_19(int fpga, unsigned value1, unsigned ex_value1, unsigned value2,
                            unsigned ex_value2, char* text, unsigned mask);
int alarm_test_everyport_k(int fpga, unsigned value1, unsigned ex_value1, unsigned value2, unsigned ex_value2,
                           char* text, unsigned mask);
/// The patterns follow from the mask and go to the alarm driver.
int alarm_test_everyport_hisi(int alarm, char* text, unsigned mask);

// ---- GPIO loop checks; `fd` is /dev/qznio -----------------------------------------------------------------

/// Five repetitions on one input and one output. 0 with `*code` 0 or 10, or -1 with `*code` 1 or 2 when a
/// direction cannot be set; `text` (512 bytes) is written with every code but 0.
int t1_sdk_alarm_test_63xx(int fd, unsigned input, unsigned output, unsigned port, int* code, char* text);
/// Two repetitions behind one relay. The number of failed ones, or -1 when a direction cannot be set.
int t1_sdk_alarm_test_rkd_new(int fd, char* text, unsigned input, unsigned output, unsigned relay);
/// The same behind two relays.
int t1_sdk_alarm_test_rkd_1in3out(int fd, char* text, unsigned input, unsigned output, unsigned relay1,
                                  unsigned relay2);
