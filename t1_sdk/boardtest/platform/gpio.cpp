#include "t1_sdk/boardtest/platform/gpio.h"

#include <sys/ioctl.h>

namespace {

constexpr unsigned kDirectionInput = 0x40044701;   // _IOW('G', 1, 4)
constexpr unsigned kDirectionOutput = 0x40044702;  // _IOW('G', 2, 4)
constexpr unsigned kGetValue = 0x80044703;         // _IOR('G', 3, 4)
constexpr unsigned kSetValue = 0x40044704;         // _IOW('G', 4, 4)

}  // namespace

int gpiofd = -1;

int gpio_direction_input(int fd, unsigned gpio) {
  gpio_ctrl record{gpio, 0};
  return ioctl(fd, kDirectionInput, &record);
}

int gpio_direction_output(int fd, unsigned gpio, int value) {
  gpio_ctrl record{gpio, static_cast<unsigned>(value)};
  return ioctl(fd, kDirectionOutput, &record);
}

int gpio_get_value(int fd, unsigned gpio) {
  gpio_ctrl record{gpio, 0};
  const int result = ioctl(fd, kGetValue, &record);
  return result < 0 ? result : static_cast<int>(record.param);
}

int gpio_set_value(int fd, unsigned gpio, int value) {
  gpio_ctrl record{gpio, static_cast<unsigned>(value)};
  return ioctl(fd, kSetValue, &record);
}
