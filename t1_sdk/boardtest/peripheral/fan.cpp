#include "t1_sdk/boardtest/peripheral/fan.h"

#include <unistd.h>
#include <cstdio>

#include "t1_sdk/boardtest/platform/registers.h"

namespace {

constexpr unsigned kFanMode = 4;
constexpr unsigned kManual = 1;
constexpr unsigned kFanOn = 0x43;
constexpr unsigned kFanOff = 0x44;
constexpr unsigned kFanValue = 6;

}  // namespace

void fan_test_wpf() {
  if (stm8_reg_write(kFanMode, kManual) != 0) {
    std::puts("手动控制风扇命令发送失败");
    return;
  }
  std::puts("手动控制风扇模式");
  for (int i = 0; i < 2; ++i) {
    std::puts("打开风扇");
    stm8_reg_write(kFanOn, kFanValue);
    sleep(1);
    std::puts("关闭风扇");
    stm8_reg_write(kFanOff, kFanValue);
    sleep(2);
  }
  std::puts("风扇开关测试结束");
}
