#include "t1_sdk/util/gpio_ctl.h"

#include <sys/ioctl.h>
#include <cstdio>

namespace {

constexpr unsigned kGetValue = 0x8004680B;      // _IOR('h', 0x0B, 4)
constexpr unsigned kDirectionIn = 0x4004680D;   // _IOW('h', 0x0D, 4)
constexpr unsigned kDirectionOut = 0x4004680E;  // _IOW('h', 0x0E, 4)
constexpr unsigned kDayIcr = 0x40046831;        // _IOW('h', 0x31, 4)
constexpr unsigned kNightIcr = 0x40046832;      // _IOW('h', 0x32, 4)

constexpr char kNullParameter[] = "<T1> DBG:The parameter is NULL\n";

// The word "input" stands in the failure line of both directions.
int set_direction(int fd, unsigned request, gpio_ctl* data) {
  if (data == nullptr) {
    std::fputs(kNullParameter, stdout);
    return -1;
  }
  if (ioctl(fd, request, data) != 0) {
    std::printf("<T1> DBG:set gpio pin %d 's direction to input failure!\n", static_cast<int>(data->gpio));
    return -1;
  }
  return 0;
}

int drive_icr(int fd, unsigned request, unsigned step_num, const char* failure) {
  if (ioctl(fd, request, static_cast<unsigned long>(step_num)) != 0) {  // the number itself, no pointer
    std::fputs(failure, stdout);
    return -1;
  }
  return 0;
}

}  // namespace

int gpio_get_value(int fd, unsigned gpio, int* pvalue) {
  if (pvalue == nullptr) {
    std::fputs(kNullParameter, stdout);
    return -1;
  }
  gpio_ctl record{gpio, -1};
  if (ioctl(fd, kGetValue, &record) == -1) {
    std::printf("<T1> DBG:get gpio %d failure!\n", static_cast<int>(gpio));
    return -1;
  }
  *pvalue = record.value;
  return 0;
}

int gpio_set_dir_input(int fd, gpio_ctl* data) {
  return set_direction(fd, kDirectionIn, data);
}

int gpio_set_dir_output(int fd, gpio_ctl* data) {
  return set_direction(fd, kDirectionOut, data);
}

int day_icr(int fd, unsigned step_num) {
  return drive_icr(fd, kDayIcr, step_num, "<T1> DBG:day ICR failed!\n");
}

int night_icr(int fd, unsigned step_num) {
  return drive_icr(fd, kNightIcr, step_num, "<T1> DBG:night ICR failed!\n");
}
