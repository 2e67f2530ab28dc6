// The variants of the alarm test, by what a board has.
//
// Each runs on this board, whatever board it is, and sends its reply with the test code `code`. A mode out of
// range fails with code 1. An expansion board: 0 none, 1 one alarm and one RS485, 2 two alarm outputs, 3 none
// and nine alarm outputs. A type may be any number, which is printed; of alarm_test_64xx_u(), 4 drives the
// relay registers 81 to 85, any other 81 to 83.
#pragma once

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
