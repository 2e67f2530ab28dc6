// Alarm inputs and outputs: every output drives its inputs through the factory jig, and the inputs are read
// back as a word.
//
// Each entry is one test code; it asks the board who it is and runs one variant, which sends one reply.
// Codes of a failed reply: 1 for a wrong mode and 10 when ports or steps failed; for nodes see each variant's
// row.
#pragma once

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
