// Which command of the substrate voltage each code runs, and on which model.
#include "t1_sdk/boardtest/sensor/vsub/vsub.h"

#include "t1_sdk/boardtest/sensor/vsub/set.h"
#include "t1_sdk/boardtest/sensor/vsub/trim.h"

void t1_sdk_setVsub6455() {
  t1_sdk_vsub_set(1, 0x2600);
}

void t1_sdk_setVsub6485() {
  t1_sdk_vsub_set(1, 0x2700);
}

void t1_sdk_setVsub6484() {
  t1_sdk_vsub_set(0, 0x2800);
}

void t1_sdk_addVsub6455() {
  t1_sdk_add_trim_vsub(0x9603, 0x2B01);
}

void t1_sdk_decVsub6455() {
  t1_sdk_dec_trim_vsub(0x9603, 0x2B02);
}

void t1_sdk_saveVsub6455() {
  t1_sdk_save_trim_vsub(0x9603, 0x2B03);
}

void t1_sdk_addVsub6485() {
  t1_sdk_add_trim_vsub(0x9605, 0x2C01);
}

void t1_sdk_decVsub6485() {
  t1_sdk_dec_trim_vsub(0x9605, 0x2C02);
}

void t1_sdk_saveVsub6485() {
  t1_sdk_save_trim_vsub(0x9605, 0x2C03);
}

void t1_sdk_addVsub6484() {
  t1_sdk_add_trim_vsub(0x9604, 0x2D01);
}

void t1_sdk_decVsub6484() {
  t1_sdk_dec_trim_vsub(0x9604, 0x2D02);
}

void t1_sdk_saveVsub6484() {
  t1_sdk_save_trim_vsub(0x9604, 0x2D03);
}
