// Which RS485 variant a board runs.
#include "t1_sdk/boardtest/comm/rs485/rs485.h"

#include "t1_sdk/boardtest/comm/rs485/variants.h"
#include "t1_sdk/boardtest/platform/device_type.h"

void t1_sdk_rs485_test() {
  get_device_type();  // only its lines on the console, when it fails, are of use
  if (is_6444_u() == 3) {
    rs485_test_u();
  } else if (is_6444_u() == 4) {
    rs485_test();
  } else if (is_MA_devType() == 1) {
    rs485_test_u();
  } else if (is_K_devType() == 1 || is_65xx_devType() == 1) {
    rs485_test_Ex();
  } else if (is_63xx_devType() == 1) {
    rs485_test_63xx();
  } else if (is_RKD_devType() == 1) {
    rs485_test_rkd537();
  } else if (is_RKD_devType() == 2) {
    rs485_unit_test();
  } else {
    rs485_test();
  }
}
