#include "t1_sdk/boardtest/peripheral/light.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>

#include "t1_sdk/boardtest/platform/device_type.h"
#include "t1_sdk/boardtest/platform/node.h"
#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kSetPwm = 0x40044D02;  // _IOW('M', 2, 4) on /dev/qznio
constexpr unsigned kSetLed = 0x40044C01;  // _IOW('L', 1, 4) on /dev/led

constexpr int kLightPeriod = 10000;
constexpr unsigned kOperatorSeconds = 10;  // long enough for an operator to see the light

constexpr int kRkdChannel = 4;
constexpr int kRkdPeriod = 100;
constexpr unsigned kRkdLed = 2;

int limited_percentage(int percentage) {
  if (percentage >= 1 && percentage < 20) return 20;
  return percentage > 50 ? 50 : percentage;
}

}  // namespace

int light_set_pwm_param(pwm* p) {
  if (p == nullptr) return 0;
  const Descriptor node(open_io("board_test,pwm_set: open /dev/qznio error."));
  if (node.get() < 0) return 0;
  const int result = ioctl(node.get(), kSetPwm, p);
  if (result != 0) {
    std::printf("ioctl error,ret = %d\n", result);
    return 0;
  }
  return 1;
}

int light_set_pwm_enable([[maybe_unused]] int NO, int enable, int duty) {
  const int percentage = enable == 0 ? 0 : limited_percentage(duty);
  pwm light{0, kLightPeriod, static_cast<int>(percentage * static_cast<double>(kLightPeriod) / 100.0)};
  std::printf("pwm.chan:%d,duty:%d,period:%d\n", light.chan, light.duty, light.period);
  return light_set_pwm_param(&light);
}

int set_pwm_light_rkd(int chan, int period, int duty) {
  const Descriptor node(open_io("set_pwm_light open qznio error"));
  if (node.get() < 0) return -1;
  pwm light{chan, period, duty};
  const int result = ioctl(node.get(), kSetPwm, &light);
  if (result < 0) {
    std::printf("set_pwm_light chan = %d, period = %d duty = %d ret:%d\n", chan, period, duty, result);
    return -1;
  }
  return 0;
}

int set_led_light_rkd(unsigned idx, unsigned state) {
  const Descriptor node(open("/dev/led", O_RDWR));
  if (node.get() < 0) {
    std::puts("set_led_light open ledDevice error");
    return -1;
  }
  led_ctrl led{idx, state};
  if (ioctl(node.get(), kSetLed, &led) < 0) {
    std::printf("set_led_light ledIdx = %d, ledState = %d  errno = %d \n", static_cast<int>(idx),
                static_cast<int>(state), errno);
    return -1;
  }
  return 0;
}

void t1_sdk_in_light() {
  std::puts("t1_sdk_light");
  TestReport report(0x3900, "测试内置灯", "");
  light_set_pwm_enable(0, 1, 50);
  sleep(kOperatorSeconds);
  light_set_pwm_enable(0, 1, 0);
  report.send();
}

void t1_sdk_in_light_rkd() {
  std::puts("t1_sdk_in_light_rkd");
  TestReport report(0x11001, "测试内置常亮灯", "");
  if (is_RKD_devType() == 2) set_led_light_rkd(kRkdLed, 1);
  set_pwm_light_rkd(kRkdChannel, kRkdPeriod, 50);
  sleep(kOperatorSeconds);
  if (is_RKD_devType() == 2) set_led_light_rkd(kRkdLed, 0);
  set_pwm_light_rkd(kRkdChannel, kRkdPeriod, 0);
  report.send();
}
