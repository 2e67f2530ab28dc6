#include "t1_sdk/boardtest/comm/temperature.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstdio>

#include "t1_sdk/boardtest/protocol/report.h"
#include "t1_sdk/util/descriptor.h"
#include "t1_sdk/util/text.h"

using namespace boardtest;

namespace {

constexpr int kSensors = 20;
constexpr std::size_t kReadingSize = 32;

/// The first sensor file that is there, into `path`. False when there is none.
bool find_sensor(char* path, std::size_t size) {
  for (int n = 1; n <= kSensors; ++n) {
    std::snprintf(path, size, "/proc/debug/temp%d", n);
    struct stat status {};
    if (stat(path, &status) == 0 && S_ISREG(status.st_mode)) return true;
  }
  return false;
}

int refuse(int code, const char* text, int* result, char* description) {
  std::puts(text);
  *result = code;
  copy_gbk(description, kDescriptionSize, text);
  return -1;
}

void show_temperature(TestReport& report) {
  char path[64];
  if (!find_sensor(path, sizeof path)) return report.fail_aloud(1, "未发现温度传感器");
  int result = 0;
  char description[kDescriptionSize];
  const auto temperature = static_cast<float>(t1_sdk_get_temp1(path, &result, description) / 1000.0);
  std::printf("温度传感器测得当前温度：%.1f 摄氏度\n", static_cast<double>(temperature));
  if (result != 0) report.fail(result, description);
}

}  // namespace

int t1_sdk_get_temp1(const char* path, int* result, char* description) {
  if (path == nullptr) return refuse(2, "未指定温度传感器", result, description);
  const Descriptor sensor(open(path, O_RDONLY));
  if (sensor.get() < 0) {
    std::perror("无法获取当前温度");
    return refuse(3, "无法获取当前温度", result, description);
  }
  char reading[kReadingSize + 1] = {};
  if (read(sensor.get(), reading, kReadingSize) < 0) {
    std::perror("无法获取当前温度 ");
    return refuse(4, "无法获取当前温度", result, description);
  }
  return parse_int(reading);
}

void t1_sdk_tmp_test() {
  std::puts("t1_sdk_tmp_test");
  TestReport report(7426, "测试USB");  // the name that stations know this test by
  show_temperature(report);
  report.send();
}
