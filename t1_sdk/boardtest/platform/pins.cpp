#include "t1_sdk/boardtest/platform/pins.h"

gpio_pin_tab g_gpio_sets;

int gpio_pin_cfg() {
  g_gpio_sets.alarm_in1 = 28;
  g_gpio_sets.alarm_in2 = 29;
  g_gpio_sets.alarm_out1 = 30;
  g_gpio_sets.alarm_out2 = 31;
  g_gpio_sets.ircut_1b = 82;
  g_gpio_sets.ircut_2b = 83;
  g_gpio_sets.RS485_tx_en = 38;
  g_gpio_sets.manual_restore_defaultcfg = 36;
  g_gpio_sets.camerafront_reset = 32;
  return 0;
}
