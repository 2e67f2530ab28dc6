// Which variant each alarm code runs on this board.
#include "t1_sdk/boardtest/peripheral/alarm/alarm.h"

#include "t1_sdk/boardtest/peripheral/alarm/variants.h"
#include "t1_sdk/boardtest/platform/device_type.h"

void t1_sdk_alarm_test_5in3out() {
  if (is_MA_devType() == 1) {
    alarm_test_64xx_19(0, 520);
  } else if (is_68xx_devType() == 2) {
    alarm_test_68xx(0, 520);
  } else {
    alarm_test_64xx(0, 520);
  }
}

void t1_sdk_alarm_test_5in4out() {
  alarm_test_64xx(1, 521);
}

void t1_sdk_alarm_test_5in5out() {
  alarm_test_64xx(2, 528);
}

void t1_sdk_alarm_test_8in9out() {
  alarm_test_64xx_k(3, 530);
}

void t1_sdk_alarm_test_4in7out() {
  alarm_test_64xx_u(4, 519);
}

void t1_sdk_alarm_test_4in5out() {
  if (is_loop_devType() == 1 || is_loop_devType_c() == 1) {
    alarm_test_wpf_u(5, 518);
  } else {
    alarm_test_64xx_u(5, 518);
  }
}

void t1_sdk_alarm_test_3in2out() {
  alarm_test_wpf_u_j(2, 534);
}

void t1_sdk_alarm_test_1in1out() {
  alarm_test_1i1o(513);
}

void t1_sdk_alarm_test_2in4out() {
  alarm_test_rkd(0, 535);
}

void t1_sdk_alarm_test_1in3out() {
  alarm_test_rkd_1in3out(0, 69634);
}

void t1_sdk_alarm_test_10in10out_switch() {
  alarm_test_65xx(0, 531);
}

void t1_sdk_alarm_test_10in10out_level() {
  alarm_test_65xx(1, 532);
}
