// Alarm inputs and outputs: every output drives its inputs through the factory jig, and the inputs are read
// back as a word.
//
// Each entry is one test code; it asks the board who it is and runs one variant, which sends one reply.
// Codes of a failed reply: 10 when ports or steps failed; for nodes and modes see each variant's row.
#pragma once

#include <cstdint>

/// Which way an alarm line works.
enum alarm_dir : std::uint32_t { HAL_ALARM_OUT = 0, HAL_ALARM_IN = 1 };

/// The alarm driver's record.
struct alarm_ctrl {
  std::uint32_t idx;        ///< alarm number, or kAllAlarms
  std::uint32_t state;      ///< one bit an alarm when idx is kAllAlarms
  std::uint32_t direction;  ///< an alarm_dir
};
static_assert(sizeof(alarm_ctrl) == 12);

/// The `idx` that addresses all alarms at once.
inline constexpr std::uint32_t kAllAlarms = 0x46554C4C;

// ---- alarm driver; each call opens /dev/alarm and closes it again -----------------------------------------

/// Sets all outputs, one bit each. The request's result, a negative one after one line of text; 0, too, after
/// one line of text, when the node cannot be opened.
int alarm_all_set(int state);
/// Fills the record. As alarm_all_set(); a record that could not be filled stays as it is.
int alarm_get(alarm_ctrl* alarm);
/// The state of all alarms, one bit each: 0 when the node cannot be opened. The request's negative result,
/// after two lines of text, when it fails.
int alarm_get_all_value();

// ---- input readers ----------------------------------------------------------------------------------------
//
// `fd` is /dev/qznio. Bit n of `*word` is set when input n reads high. No bit is cleared, and none is set for
// an input that cannot be read.

/// T1 to T4 and SYNC.
void getTriggerIn(int fd, std::uint32_t* word);
/// T1 to T7 and SYNC; on a 65xx board its ten inputs.
void getTriggerIn_Ex(int fd, std::uint32_t* word);
/// T1 to T4 of an MA board, and SYNC four times, from bit 4 to bit 7.
void getTriggerIn_6194(int fd, std::uint32_t* word);
/// The two inputs of an RKD board; on another board T1 and T2. No test calls it.
void getTriggerInRkd(int fd, std::uint32_t* word);

// ---- port checks: 0, or 1 after writing the failure into the 512 bytes of `text` --------------------------

/// Values 1 and 2 are the two patterns of FPGA register 0x2002.
int alarm_test_everyport(int fpga, unsigned value1, unsigned value2, char* text, unsigned mask);
/// Each pattern is a value of register 0x2002 and one of 0x2018.
int alarm_test_everyport_19(int fpga, unsigned value1, unsigned ex_value1, unsigned value2,
                            unsigned ex_value2, char* text, unsigned mask);
int alarm_test_everyport_k(int fpga, unsigned value1, unsigned ex_value1, unsigned value2, unsigned ex_value2,
                           char* text, unsigned mask);
/// The patterns follow from the mask and go to the alarm driver.
int alarm_test_everyport_hisi(int alarm, char* text, unsigned mask);

// ---- GPIO loop checks -------------------------------------------------------------------------------------

/// Five repetitions on one input and one output. 0 with `*code` 0 or 10, or -1 with `*code` 1 or 2 when a
/// direction cannot be set; `text` (512 bytes) is written with every code but 0.
int t1_sdk_alarm_test_63xx(int fd, unsigned input, unsigned output, unsigned port, int* code, char* text);
/// Two repetitions behind one relay. The number of failed ones, or -1 when a direction cannot be set.
int t1_sdk_alarm_test_rkd_new(int fd, char* text, unsigned input, unsigned output, unsigned relay);
/// The same behind two relays.
int t1_sdk_alarm_test_rkd_1in3out(int fd, char* text, unsigned input, unsigned output, unsigned relay1,
                                  unsigned relay2);

// ---- variants ---------------------------------------------------------------------------------------------
//
// Each runs on this board, whatever board it is, and sends its reply with the test code `code`. A mode out of
// range fails with code 1. An expansion board: 0 none, 1 one alarm and one RS485, 2 two alarm outputs, 3 none
// and nine alarm outputs. A type may be any number, which is printed; of alarm_test_64xx_u(), 4 drives the
// relay registers 81 to 85, any other 81 to 83.

void alarm_test_64xx(unsigned mode, int code);         ///< five inputs, FPGA; expansion board 0 to 2
void alarm_test_64xx_k(unsigned mode, int code);       ///< eight inputs, FPGA; expansion board 0 to 3
void alarm_test_64xx_19(unsigned mode, int code);      ///< five inputs (MA), FPGA; expansion board 0 to 3
void alarm_test_68xx(unsigned mode, int code);         ///< five inputs, alarm driver; 0 to 2, all alike
void alarm_test_65xx(unsigned mode, int code);         ///< ten in, ten out; 0 switch, 1 level, 2 nothing
void alarm_test_64xx_u(int type, int code);            ///< four inputs in four steps, FPGA
void alarm_test_wpf_u(int type, int code);             ///< four inputs in four steps, alarm driver
void alarm_test_wpf_u_j(int type, int code);           ///< the same in three steps
void alarm_test_rkd(unsigned mode, int code);          ///< two inputs, a relay each; above 2: no reply
void alarm_test_rkd_1in3out(unsigned mode, int code);  ///< one input, two relays; above 2: no reply
void alarm_test_1i1o(int code);                        ///< one input, one output

// ---- entries ----------------------------------------------------------------------------------------------

void t1_sdk_alarm_test_5in3out();           ///< test 520
void t1_sdk_alarm_test_5in4out();           ///< test 521
void t1_sdk_alarm_test_5in5out();           ///< test 528
void t1_sdk_alarm_test_8in9out();           ///< test 530
void t1_sdk_alarm_test_4in7out();           ///< test 519
void t1_sdk_alarm_test_4in5out();           ///< test 518
void t1_sdk_alarm_test_3in2out();           ///< test 534
void t1_sdk_alarm_test_1in1out();           ///< test 513
void t1_sdk_alarm_test_2in4out();           ///< test 535
void t1_sdk_alarm_test_1in3out();           ///< test 69634
void t1_sdk_alarm_test_10in10out_switch();  ///< test 531
void t1_sdk_alarm_test_10in10out_level();   ///< test 532
