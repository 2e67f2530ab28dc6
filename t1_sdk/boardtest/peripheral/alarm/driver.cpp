// The alarm driver.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "t1_sdk/boardtest/peripheral/alarm/lines.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

/// One request on /dev/alarm. `verb` opens the line that is printed when the driver refuses, `no_node` is
/// printed when the node cannot be opened, which counts as 0.
int alarm_request(unsigned request, alarm_ctrl* alarm, const char* verb, const char* no_node) {
  const Descriptor node(open("/dev/alarm", O_RDWR | O_NONBLOCK));
  if (node.get() < 0) {
    std::puts(no_node);
    return 0;
  }
  const int result = ioctl(node.get(), request, alarm);
  if (result < 0) {
    std::printf("%s alarm %s stat fail!(%s)\n", verb, alarm->direction == HAL_ALARM_IN ? "in" : "out",
                std::strerror(errno));
  }
  return result;
}

}  // namespace

int alarm_all_set(int state) {
  alarm_ctrl all{kAllAlarms, static_cast<std::uint32_t>(state), HAL_ALARM_OUT};
  return alarm_request(kAlarmSet, &all, "set", "open /dev/alarm error.");
}

int alarm_get(alarm_ctrl* alarm) {
  return alarm_request(kAlarmGet, alarm, "get", "boardtest:alarm_get,open /dev/alarm error.");
}

int alarm_get_all_value() {
  alarm_ctrl all{kAllAlarms, 0, HAL_ALARM_OUT};
  const int result = alarm_get(&all);
  if (result < 0) {
    std::printf("get all_alarm stat fail!(%d)\n", result);
    return result;
  }
  return static_cast<int>(all.state);
}
