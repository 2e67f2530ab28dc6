// The state of an unfinished substrate-voltage trim.
#include "t1_sdk/boardtest/sensor/vsub_trim.h"

#include <algorithm>
#include <iterator>

int g_trim_vsub[3];
int g_base_vsub[3];

namespace {

int* slot_of(int (&codes)[3], int dev) {
  switch (dev) {
    case 0x9603:
      return &codes[0];
    case 0x9605:
      return &codes[1];
    case 0x9604:
      return &codes[2];
    default:
      return nullptr;
  }
}

}  // namespace

int* t1_sdk_get_trim_vsub(int dev) {
  return slot_of(g_trim_vsub, dev);
}

int* t1_sdk_get_base_vsub(int dev) {
  return slot_of(g_base_vsub, dev);
}

void t1_sdk_reset_trim_vsub() {
  std::fill(std::begin(g_trim_vsub), std::end(g_trim_vsub), 0);
  std::fill(std::begin(g_base_vsub), std::end(g_base_vsub), 0);
}
