#include "t1_sdk/boardtest/peripheral/rtc.h"

#include <fcntl.h>
#include <linux/rtc.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <cstdio>

#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"

using namespace boardtest;

namespace {

constexpr unsigned kReadTime = 0x80247009;  // RTC_RD_TIME
static_assert(sizeof(rtc_time) == 36);

constexpr int kReadings = 6;

void run(TestReport& report) {
  Descriptor clock(open("/dev/rtc", O_RDWR));
  if (clock.get() < 0) return report.fail_aloud(1, "打开RTC设备失败");
  int first = 0;
  int last = 0;
  for (int i = 0; i < kReadings; ++i) {
    rtc_time now{};
    if (ioctl(clock.get(), kReadTime, &now) < 0) {
      clock.close();
      return report.fail_aloud(2, "RTC读取失败");
    }
    std::printf("%04d-%02d-%02d %02d:%02d:%02d\n", now.tm_year + 1900, now.tm_mon + 1, now.tm_mday,
                now.tm_hour, now.tm_min, now.tm_sec);
    last = now.tm_sec;
    if (i == 0) first = last;
    sleep(1);
  }
  clock.close();
  const int elapsed = first < last ? last - first : last + 60 - first;
  if (elapsed != 5 && elapsed != 6) {
    std::puts("RTC测试失败");
    return report.fail(3);  // the description keeps saying that the test succeeded
  }
  std::puts("rtc测试成功");
}

}  // namespace

void t1_sdk_rtc_test() {
  std::puts("t1_sdk_rtc_test");
  TestReport report(0x600, "测试RTC时钟");
  std::puts("\n############RTC测试开始##############");
  run(report);
  report.send();
}
