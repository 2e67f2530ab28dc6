#include "t1_sdk/util/rs485_direction.h"

#include <cstdio>

#include "t1_sdk/util/gpio_ctl.h"

int rs485_ctl(int fd, unsigned gpio, unsigned en) {
  gpio_ctl direction{gpio, en != 0 ? 1 : 0};
  const int result = gpio_set_dir_output(fd, &direction);
  if (result == -1) {
    std::printf("<T1> ERR:Setting rs485 gpio[%u] value[%u] failure!\n", gpio,
                static_cast<unsigned>(direction.value));
  }
  return result;
}
