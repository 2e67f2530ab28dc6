// Which IR-cut variant a board runs.
#include "t1_sdk/boardtest/peripheral/ircut.h"

#include "t1_sdk/boardtest/platform/device_type.h"

void t1_sdk_icrcut_test() {
  if (is_65xx_devType() == 1) {
    ircut_test_65xx();
  } else if (is_63xx_devType() == 1) {
    ircut_test_63xx();
  } else if (is_loop_devType() == 1) {
    ircut_test_loop();
  } else if (is_loop_devType_c() == 1) {
    ircut_test_loop_c();
  } else if (is_MA_devType() == 1) {
    ircut_test(175);
  } else if (is_RKD_devType() != 0) {
    ircut_test_rkd();
  } else {
    ircut_test(90);
  }
}
