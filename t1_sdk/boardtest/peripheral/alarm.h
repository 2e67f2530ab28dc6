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

/// Sets all outputs, one bit each. The request's result; 0 when the node cannot be opened.
int alarm_all_set(int state);
/// Fills the record. The request's result; 0 when the node cannot be opened.
int alarm_get(alarm_ctrl* alarm);
/// The state of all alarms, or the request's negative result.
int alarm_get_all_value();

// ---- input readers: bit n of `*word` is set when input n reads high ---------------------------------------

/// Reads the usual five inputs; eight, or the ten of a 65xx board; those of a 6194, SYNC from bit 4 to bit 7;
/// those of an RKD board.
void getTriggerIn(int fd, std::uint32_t* word);
void getTriggerIn_Ex(int fd, std::uint32_t* word);
void getTriggerIn_6194(int fd, std::uint32_t* word);
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

// ---- variants: the mode or type, and the code that the reply carries --------------------------------------

/// Runs one variant on this board, whatever board it is, and sends its reply with the test code `code`.
void alarm_test_64xx(unsigned mode, int code);
void alarm_test_64xx_k(unsigned mode, int code);
void alarm_test_64xx_19(unsigned mode, int code);
void alarm_test_68xx(unsigned mode, int code);
void alarm_test_65xx(unsigned mode, int code);
void alarm_test_64xx_u(int type, int code);
void alarm_test_wpf_u(int type, int code);
void alarm_test_wpf_u_j(int type, int code);
void alarm_test_rkd(unsigned mode, int code);
void alarm_test_rkd_1in3out(unsigned mode, int code);
void alarm_test_1i1o(int code);

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
