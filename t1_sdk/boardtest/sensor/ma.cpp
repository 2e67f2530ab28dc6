#include "t1_sdk/boardtest/sensor/ma.h"

#include <unistd.h>
#include <cstdio>

#include "t1_sdk/boardtest/platform/app_channel.h"
#include "t1_sdk/boardtest/protocol/report.h"

using namespace boardtest;

namespace {

constexpr unsigned kStarted = 3;

void run(TestReport& report) {
  enableAPPCMD(kAppMaSelfTest, 0);
  usleep(50000);
  if (test_item.cmd != kAppMaSelfTest || test_item.test_data[0] == 0 || test_item.test_data[1] != kStarted) {
    std::puts("MA 测试失败");
    return report.fail(1);
  }
  std::puts("MA 测试成功");
}

}  // namespace

void t1_sdk_ma() {
  std::puts("t1_sdk_ma");
  std::puts("t1_sdk_ma will begin");
  TestReport report(0x2A11, "MA test");
  run(report);
  report.send();
}
